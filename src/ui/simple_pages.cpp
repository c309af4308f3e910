#include "simple_pages.h"

#include <QGridLayout>
#include <QProgressBar>
#include <QSlider>
#include <QTableWidget>

#include "page_kit.h"

namespace nua::ui {

using Controller = WizardController;

namespace {

// A large choice button with a line of explanation under its caption.
QPushButton* choiceButton(const QString& caption, const QString& explanation, const QString& iconName,
                          QStyle::StandardPixmap fallback) {
  const QSize size(40, 40);
  QIcon icon = themeIcon(iconName, fallback);
  // Some themes carry only a small pixmap of an icon, which Qt never scales up: scale it here so
  // every choice shows its icon at one size.
  const QPixmap pixmap = icon.pixmap(size);
  if (!pixmap.isNull() && pixmap.width() < size.width())
    icon = QIcon(pixmap.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation));
  auto* button = new QPushButton(icon, caption + "\n" + explanation);
  button->setIconSize(size);
  button->setFixedWidth(540);  // one width for every choice, whatever its text
  button->setMinimumHeight(72);
  button->setStyleSheet("text-align: left; padding-left: 14px;");
  return button;
}

QLabel* wrapped(const QString& text) {
  auto* label = new QLabel(text);
  label->setWordWrap(true);
  return label;
}

}  // namespace

QWidget* makeMainScreen(Controller& controller) {
  auto* page = new QWidget;
  QVBoxLayout* layout = makePage(page, "Main Screen", QObject::tr("What would you like to recover?"));
  layout->addWidget(wrapped(QObject::tr("Pick a goal. Sources are only read, never written to.")));
  layout->addStretch();
  struct Goal {
    QString caption, explanation, icon;
    QStyle::StandardPixmap fallback;
    void (Controller::*action)();
  };
  const Goal goals[] = {
      {QObject::tr("Recover Files"), QObject::tr("Deleted or lost files and folders of a volume"), "folder-documents",
       QStyle::SP_DirIcon, &Controller::recoverFiles},
      {QObject::tr("Recover Photos, Music and Video"), QObject::tr("Media files, also from damaged or erased volumes"),
       "folder-pictures", QStyle::SP_FileDialogContentsView, &Controller::recoverPhotos},
      {QObject::tr("Recover Partitions and Drives"), QObject::tr("Volumes of a whole disk, formatted or lost"),
       "drive-harddisk", QStyle::SP_DriveHDIcon, &Controller::recoverPartitionAndDrives}};
  for (const Goal& goal : goals) {
    QPushButton* button = choiceButton(goal.caption, goal.explanation, goal.icon, goal.fallback);
    QObject::connect(button, &QPushButton::clicked, page, [&controller, action = goal.action] { (controller.*action)(); });
    layout->addWidget(button, 0, Qt::AlignHCenter);
  }
  layout->addStretch();
  return page;
}

QWidget* makeModeScreen(Controller& controller, const QString& identifier) {
  struct Mode {
    QString caption, explanation;
    void (Controller::*action)();
  };
  QString title;
  Mode modes[2];
  void (Controller::*back)() = &Controller::backToMainScreenFromFileRecoveryTab;
  if (identifier == "Recover Files") {
    title = QObject::tr("Recover Files");
    modes[0] = {QObject::tr("Fast Scan"), QObject::tr("Deleted files from the volume's catalog and journal"),
                &Controller::recoverFilesFast};
    modes[1] = {QObject::tr("Advanced Scan"), QObject::tr("Also searches the raw sectors for the file types you mark"),
                &Controller::recoverFilesAdvanced};
  } else if (identifier == "Recover Photos") {
    title = QObject::tr("Recover Photos, Music and Video");
    modes[0] = {QObject::tr("Fast Scan"), QObject::tr("Media files of a volume, from its free space"),
                &Controller::recoverPhotosFast};
    modes[1] = {QObject::tr("Advanced Scan"), QObject::tr("Media files of a volume or a whole disk, in a range you set"),
                &Controller::recoverPhotosAdvanced};
    back = &Controller::backToMainScreenFromPhotoRecoveryTab;
  } else {
    title = QObject::tr("Recover Partitions and Drives");
    modes[0] = {QObject::tr("Partition Recovery"), QObject::tr("The volumes of a disk's partition map"),
                &Controller::recoverPartitionAndDrivesFast};
    modes[1] = {QObject::tr("Formatted / Reformatted Recovery"),
                QObject::tr("An HFS+ volume that was erased or formatted again"),
                &Controller::recoverPartitionAndDrivesAdvanced};
    back = &Controller::backToMainScreenFromPartitionRecoveryTab;
  }
  auto* page = new QWidget;
  QVBoxLayout* layout = makePage(page, identifier, title);
  layout->addStretch();
  for (const Mode& mode : modes) {
    const bool fast = &mode == &modes[0];
    QPushButton* button = choiceButton(mode.caption, mode.explanation, fast ? "system-search" : "edit-find",
                                       fast ? QStyle::SP_FileDialogDetailedView : QStyle::SP_FileDialogContentsView);
    QObject::connect(button, &QPushButton::clicked, page, [&controller, action = mode.action] { (controller.*action)(); });
    layout->addWidget(button, 0, Qt::AlignHCenter);
  }
  layout->addStretch();
  QPushButton* backButton = makeButton(QObject::tr("Back"), "go-previous", QStyle::SP_ArrowBack);
  QObject::connect(backButton, &QPushButton::clicked, page, [&controller, back] { (controller.*back)(); });
  layout->addLayout(navigationRow(backButton, nullptr, {}));
  return page;
}

QWidget* makeTreeScanModeScreen(Controller& controller) {
  auto* page = new QWidget;
  QVBoxLayout* layout = makePage(page, "Tree scan mode", QObject::tr("Choose how to scan the volume"));
  layout->addStretch();
  QPushButton* standard = choiceButton(QObject::tr("Standard Scan"),
                                       QObject::tr("Reads the volume's catalog as it stands: quick"), "system-search",
                                       QStyle::SP_FileDialogDetailedView);
  QPushButton* advanced = choiceButton(QObject::tr("Advanced Scan"),
                                       QObject::tr("Searches the whole volume for catalog nodes: for damaged volumes"),
                                       "edit-find", QStyle::SP_FileDialogContentsView);
  QObject::connect(standard, &QPushButton::clicked, page, [&controller] { controller.treeScanModeStdScanClicked(); });
  QObject::connect(advanced, &QPushButton::clicked, page, [&controller] { controller.treeScanModeAdvScanClicked(); });
  layout->addWidget(standard, 0, Qt::AlignHCenter);
  layout->addWidget(advanced, 0, Qt::AlignHCenter);
  layout->addStretch();
  QPushButton* back = makeButton(QObject::tr("Back"), "go-previous", QStyle::SP_ArrowBack);
  QPushButton* home = makeButton(QObject::tr("Home"), "go-home", QStyle::SP_DirHomeIcon);
  QObject::connect(back, &QPushButton::clicked, page, [&controller] { controller.treeScanModeBackClicked(); });
  QObject::connect(home, &QPushButton::clicked, page, [&controller] { controller.gotoHome(); });
  layout->addLayout(navigationRow(back, home, {}));
  return page;
}

QWidget* makeRawSliderScreen(Controller& controller, WizardWidgets& widgets) {
  auto* page = new QWidget;
  QVBoxLayout* layout = makePage(page, "Raw slider", QObject::tr("Set the part of the drive to search"));
  layout->addWidget(wrapped(QObject::tr("The signature search reads the sectors between the start and the end "
                                        "position, given in percent of the size.")));
  auto* grid = new QGridLayout;
  auto* sizeText = new QLabel;
  grid->addWidget(new QLabel(QObject::tr("Size:")), 0, 0);
  grid->addWidget(sizeText, 0, 1, 1, 2);
  QSlider* sliders[2] = {new QSlider(Qt::Horizontal), new QSlider(Qt::Horizontal)};
  QLabel* texts[2] = {new QLabel, new QLabel};
  const QString captions[2] = {QObject::tr("Start:"), QObject::tr("End:")};
  for (int i = 0; i < 2; ++i) {
    sliders[i]->setRange(0, 1000);  // tenths of a percent
    sliders[i]->setMinimumWidth(380);
    texts[i]->setMinimumWidth(150);
    grid->addWidget(new QLabel(captions[i]), i + 1, 0);
    grid->addWidget(sliders[i], i + 1, 1);
    grid->addWidget(texts[i], i + 1, 2);
  }
  layout->addLayout(grid);
  layout->addStretch();
  auto moved = [&controller, sliders] {
    controller.setSliderValues(static_cast<float>(sliders[0]->value()) / 10.0f,
                               static_cast<float>(sliders[1]->value()) / 10.0f);
  };
  for (QSlider* slider : sliders) QObject::connect(slider, &QSlider::valueChanged, page, moved);
  widgets.sliders = [sliders](float start, float end) {
    const float values[2] = {start, end};
    for (int i = 0; i < 2; ++i) {
      const QSignalBlocker quiet(sliders[i]);
      sliders[i]->setValue(static_cast<int>(values[i] * 10.0f + 0.5f));
    }
  };
  widgets.fields.insert(WizardField::kRawSize, [sizeText](const QString& text) { sizeText->setText(text); });
  widgets.fields.insert(WizardField::kStartSliderText, [label = texts[0]](const QString& text) { label->setText(text); });
  widgets.fields.insert(WizardField::kEndSliderText, [label = texts[1]](const QString& text) { label->setText(text); });

  QPushButton* back = makeButton(QObject::tr("Back"), "go-previous", QStyle::SP_ArrowBack);
  QPushButton* home = makeButton(QObject::tr("Home"), "go-home", QStyle::SP_DirHomeIcon);
  QPushButton* next = makeButton(QObject::tr("Start Scan"), "go-next", QStyle::SP_ArrowForward);
  QObject::connect(back, &QPushButton::clicked, page, [&controller] { controller.rawSliderBackToSigSelClicked(); });
  QObject::connect(home, &QPushButton::clicked, page, [&controller] { controller.gotoHome(); });
  QObject::connect(next, &QPushButton::clicked, page, [&controller] { controller.rawSliderNextClicked(); });
  layout->addLayout(navigationRow(back, home, {next}));
  return page;
}

}  // namespace nua::ui
