#include "drive_list_pages.h"

#include <QCheckBox>
#include <QListWidget>

#include "drive_cell_delegate.h"
#include "lostvolume/lost_volume_rows.h"
#include "app/drive_cell_text.h"
#include "page_kit.h"

namespace nua::ui {

using Controller = WizardController;

QIcon driveRowIcon(const Dict& row) {
  const QString name = QString::fromStdString(row.string("IOBundleResourceFile"));
  QStyle::StandardPixmap fallback = QStyle::SP_DriveHDIcon;
  if (name == "media-optical") fallback = QStyle::SP_DriveCDIcon;
  else if (name.contains("removable") || name.contains("flash")) fallback = QStyle::SP_DriveFDIcon;
  if (row.has("WhetherVolume") && QIcon::hasThemeIcon("drive-partition")) return QIcon::fromTheme("drive-partition");
  return themeIcon(name.endsWith(".icns") ? QString() : name, fallback);
}

namespace {

QStringList toQt(const auto& lines) {
  QStringList list;
  for (const std::string& line : lines) list << QString::fromStdString(line);
  return list;
}

QListWidget* makeList() {
  auto* list = new QListWidget;
  list->setItemDelegate(new DriveCellDelegate(list));
  list->setSelectionMode(QAbstractItemView::SingleSelection);
  list->setUniformItemSizes(true);
  list->setAlternatingRowColors(true);
  return list;
}

void fill(QListWidget* list, const std::vector<Dict>& rows, const std::function<QStringList(const Dict&)>& lines) {
  const QSignalBlocker quiet(list);
  list->clear();
  for (const Dict& row : rows) {
    auto* item = new QListWidgetItem(list);
    item->setData(Qt::DecorationRole, driveRowIcon(row));
    item->setData(Qt::UserRole, lines(row));
  }
}

// Tells the controller the list's current row whenever the row or the selection changes, however it
// changed: by a click, by the keys, or by the focus coming in (which makes the first row current
// without selecting it). The current row is shown selected, so Next never stands for a row that
// does not look chosen.
void reportRow(QListWidget* list, QWidget* page, const std::function<void(int)>& selectRow) {
  QObject::connect(list, &QListWidget::currentRowChanged, page, [list, selectRow](int row) {
    if (row >= 0 && !list->item(row)->isSelected()) {
      const QSignalBlocker quiet(list);
      list->item(row)->setSelected(true);
    }
    selectRow(row);
  });
  QObject::connect(list, &QListWidget::itemSelectionChanged, page, [list, selectRow] {
    selectRow(list->selectedItems().isEmpty() ? -1 : list->currentRow());
  });
}

void registerDeselect(WizardWidgets& widgets, WizardTable table, QListWidget* list) {
  widgets.deselect.insert(table, [list] {
    const QSignalBlocker quiet(list);
    list->clearSelection();
    list->setCurrentRow(-1, QItemSelectionModel::Clear);
  });
}

// "Start Sector: %@ (%@ in disk)": the start and its offset as a size without the "Size: " prefix.
QString startSectorLine(const Dict& row) {
  std::string offset = sizeLine(row.uint64("Volume Start") * row.uint64("Preferred Block Size"));
  offset.erase(0, std::string("Size: ").size());
  return QString("Start Sector: %1 (%2 in disk)").arg(row.uint64("Volume Start")).arg(QString::fromStdString(offset));
}

// The validity as half stars: full stars, a half one where the rating ends on a half, empty ones after.
QString validityRatingLine(const Dict& row) {
  const int halves = validityHalfStars(static_cast<double>(row.int64("Volume Validity")));
  QString stars = QString(halves / 2, QChar(0x2605));
  if (halves % 2 != 0) stars += QChar(0x00BD);
  stars += QString(5 - (halves + 1) / 2, QChar(0x2606));
  return QString("Validity: %1 (%2%)").arg(stars).arg(row.int64("Volume Validity"));
}

QStringList partitionLines(const Dict& row) {
  return {QString::fromStdString(row.string("Volume Name")), "Type: Volume",
          QString::fromStdString(sizeLine(row.uint64("Size"))), QString::fromStdString(fileSystemLine(row))};
}

}  // namespace

QWidget* makeDrivesListScreen(Controller& controller, WizardWidgets& widgets, DrivesListActions actions) {
  auto* page = new QWidget;
  QVBoxLayout* layout = makePage(page, "Drives List", QObject::tr("Select the source"));
  auto* heading = new QLabel;
  heading->setObjectName("drivesListHeading");
  layout->addWidget(heading);
  widgets.fields.insert(WizardField::kDrivesListHeading, [heading](const QString& text) { heading->setText(text); });
  QListWidget* list = makeList();
  list->setObjectName("drivesList");
  layout->addWidget(list, 1);
  widgets.reload.insert(WizardTable::kDrivesList, [&controller, list] {
    fill(list, controller.drivesListRows(), [](const Dict& row) { return toQt(logicalDriveCellLines(row)); });
  });
  registerDeselect(widgets, WizardTable::kDrivesList, list);
  reportRow(list, page, [&controller](int row) { controller.selectDrivesListRow(row); });

  QPushButton* back = makeButton(QObject::tr("Back"), "go-previous", QStyle::SP_ArrowBack);
  QPushButton* home = makeButton(QObject::tr("Home"), "go-home", QStyle::SP_DirHomeIcon);
  QPushButton* refresh = makeButton(QObject::tr("Refresh"), "view-refresh", QStyle::SP_BrowserReload);
  QPushButton* addImage = makeButton(QObject::tr("Add Disk Image…"), "list-add", QStyle::SP_FileDialogNewFolder);
  QPushButton* next = makeButton(QObject::tr("Next"), "go-next", QStyle::SP_ArrowForward);
  next->setObjectName("drivesListNext");
  addImage->setToolTip(QObject::tr("Adds an image file of a disk or volume to the lists"));
  widgets.controls.insert(WizardControl::kDrivesListNext, next);
  QObject::connect(back, &QPushButton::clicked, page, [&controller] { controller.backButtonInDrivesListTabClicked(); });
  QObject::connect(home, &QPushButton::clicked, page, [&controller] { controller.gotoHome(); });
  QObject::connect(refresh, &QPushButton::clicked, page, [&controller] { controller.refreshDrivesList(); });
  QObject::connect(addImage, &QPushButton::clicked, page, [actions] {
    if (actions.addDiskImage) actions.addDiskImage();
  });
  QObject::connect(next, &QPushButton::clicked, page, [&controller, list, actions] {
    const std::vector<Dict> rows = controller.drivesListRows();
    const int row = list->currentRow();
    if (row >= 0 && row < static_cast<int>(rows.size()) && actions.mayOpen &&
        !actions.mayOpen(rows[static_cast<std::size_t>(row)]))
      return;
    controller.nextButtonInDrivesListTabClicked();
  });
  layout->addLayout(navigationRow(back, home, {refresh, addImage, next}));
  return page;
}

QWidget* makePTListScreen(Controller& controller, WizardWidgets& widgets) {
  auto* page = new QWidget;
  QVBoxLayout* layout = makePage(page, "PT list", QObject::tr("Select a partition of the disk"));
  QListWidget* list = makeList();
  list->setObjectName("ptList");
  layout->addWidget(list, 1);
  widgets.reload.insert(WizardTable::kPTList, [&controller, list] {
    fill(list, controller.partitionListDictArray, partitionLines);
  });
  registerDeselect(widgets, WizardTable::kPTList, list);
  reportRow(list, page, [&controller](int row) { controller.selectPTListRow(row); });

  auto* box = new QCheckBox(QObject::tr("Scan the disk for lost volumes"));
  box->setObjectName("scanForVolumes");
  box->setToolTip(QObject::tr("Searches the whole disk for HFS+ volumes whose partition map is gone."));
  widgets.controls.insert(WizardControl::kScanForVolumesBox, box);
  QObject::connect(box, &QCheckBox::toggled, page, [&controller](bool on) { controller.checkBoxForScanForVolumesClicked(on); });
  layout->addWidget(box);

  QPushButton* back = makeButton(QObject::tr("Back"), "go-previous", QStyle::SP_ArrowBack);
  QPushButton* home = makeButton(QObject::tr("Home"), "go-home", QStyle::SP_DirHomeIcon);
  QPushButton* next = makeButton(QObject::tr("Next"), "go-next", QStyle::SP_ArrowForward);
  widgets.controls.insert(WizardControl::kPTListNext, next);
  QObject::connect(back, &QPushButton::clicked, page, [&controller] { controller.ptListBackClicked(); });
  QObject::connect(home, &QPushButton::clicked, page, [&controller] { controller.gotoHome(); });
  QObject::connect(next, &QPushButton::clicked, page, [&controller] { controller.ptListNextClicked(); });
  layout->addLayout(navigationRow(back, home, {next}));
  return page;
}

QWidget* makePTScanListScreen(Controller& controller, WizardWidgets& widgets) {
  auto* page = new QWidget;
  QVBoxLayout* layout = makePage(page, "PT scan list", QObject::tr("Volumes found on the disk"));
  auto* count = new QLabel;
  layout->addWidget(count);
  widgets.fields.insert(WizardField::kNumFoundVolumes,
                        [count](const QString& text) { count->setText(QObject::tr("Volumes found: %1").arg(text)); });
  QListWidget* list = makeList();
  list->setObjectName("ptScanList");
  layout->addWidget(list, 1);
  widgets.reload.insert(WizardTable::kPTScanList, [&controller, list] {
    fill(list, controller.partitionScanListDictArray, [](const Dict& row) {
      QStringList lines = partitionLines(row);
      lines << startSectorLine(row) << validityRatingLine(row);
      return lines;
    });
    // The rating image of each row, for whoever draws or checks it.
    for (int i = 0; i < list->count(); ++i)
      list->item(i)->setData(Qt::UserRole + 1,
                             QString::fromStdString(validityRatingImage(static_cast<double>(
                                 controller.partitionScanListDictArray[static_cast<std::size_t>(i)].int64("Volume Validity")))));
  });
  registerDeselect(widgets, WizardTable::kPTScanList, list);
  reportRow(list, page, [&controller](int row) { controller.selectPTScanListRow(row); });
  QPushButton* back = makeButton(QObject::tr("Back"), "go-previous", QStyle::SP_ArrowBack);
  QPushButton* home = makeButton(QObject::tr("Home"), "go-home", QStyle::SP_DirHomeIcon);
  QPushButton* next = makeButton(QObject::tr("Next"), "go-next", QStyle::SP_ArrowForward);
  widgets.controls.insert(WizardControl::kPTScanListNext, next);
  QObject::connect(back, &QPushButton::clicked, page, [&controller] { controller.ptScanListBackClicked(); });
  QObject::connect(home, &QPushButton::clicked, page, [&controller] { controller.gotoHome(); });
  QObject::connect(next, &QPushButton::clicked, page, [&controller] { controller.ptScanListNextClicked(); });
  layout->addLayout(navigationRow(back, home, {next}));
  return page;
}

}  // namespace nua::ui
