#include "drive_list_pages.h"

#include <QCheckBox>
#include <QListWidget>

#include "drive_cell_delegate.h"
#include "app/drive_cell_text.h"
#include "app/lost_volume_search.h"
#include "page_kit.h"

namespace nua::ui {

using Controller = WizardController;

namespace {

// The icon of a row by its drive's icon resource; a volume of the system prefers the partition icon.
QIcon rowIcon(const std::string& iconResource, bool systemVolume) {
  const QString name = QString::fromStdString(iconResource);
  QStyle::StandardPixmap fallback = QStyle::SP_DriveHDIcon;
  if (name == "media-optical") fallback = QStyle::SP_DriveCDIcon;
  else if (name.contains("removable") || name.contains("flash")) fallback = QStyle::SP_DriveFDIcon;
  if (systemVolume && QIcon::hasThemeIcon("drive-partition")) return QIcon::fromTheme("drive-partition");
  return themeIcon(name.endsWith(".icns") ? QString() : name, fallback);
}

QIcon rowIcon(const PartitionRow& row) { return rowIcon(row.iconResource.value_or(std::string()), false); }

}  // namespace

QIcon driveRowIcon(const DriveRow& row) { return rowIcon(row.iconResource.value_or(std::string()), row.isVolume); }

namespace {

QIcon rowIcon(const DriveRow& row) { return driveRowIcon(row); }

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

template <class Row>
void fill(QListWidget* list, const std::vector<Row>& rows, const std::function<QStringList(const Row&)>& lines) {
  const QSignalBlocker quiet(list);
  list->clear();
  for (const Row& row : rows) {
    auto* item = new QListWidgetItem(list);
    item->setData(Qt::DecorationRole, rowIcon(row));
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
QString startSectorLine(const PartitionRow& row) {
  std::string offset = sizeLine(row.volumeStart * row.sectorSizeBytes.value_or(0));
  offset.erase(0, std::string("Size: ").size());
  return QString("Start Sector: %1 (%2 in disk)").arg(row.volumeStart).arg(QString::fromStdString(offset));
}

// The validity as half stars: full stars, a half one where the rating ends on a half, empty ones after.
QString validityRatingLine(const PartitionRow& row) {
  const std::uint64_t percent = row.volumeValidity.value_or(0);
  const int halves = validityHalfStars(static_cast<double>(percent));
  QString stars = QString(halves / 2, QChar(0x2605));
  if (halves % 2 != 0) stars += QChar(0x00BD);
  stars += QString(5 - (halves + 1) / 2, QChar(0x2606));
  return QString("Validity: %1 (%2%)").arg(stars).arg(percent);
}

QStringList partitionLines(const PartitionRow& row) {
  return {QString::fromStdString(row.volumeName), "Type: Volume",
          QString::fromStdString(sizeLine(row.sizeBytes.value_or(0))),
          QString::fromStdString(fileSystemLine(row.content, false))};
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
    fill<DriveRow>(list, controller.drivesListRows(),
                   [](const DriveRow& row) { return toQt(logicalDriveCellLines(row)); });
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
    const std::vector<DriveRow> rows = controller.drivesListRows();
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
    fill<PartitionRow>(list, controller.partitionListDictArray, partitionLines);
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
    fill<PartitionRow>(list, controller.partitionScanListDictArray, [](const PartitionRow& row) {
      QStringList lines = partitionLines(row);
      lines << startSectorLine(row) << validityRatingLine(row);
      return lines;
    });
    // The rating image of each row, for whoever draws or checks it.
    for (int i = 0; i < list->count(); ++i) {
      const PartitionRow& row = controller.partitionScanListDictArray[static_cast<std::size_t>(i)];
      list->item(i)->setData(Qt::UserRole + 1, QString::fromStdString(validityRatingImage(
                                                   static_cast<double>(row.volumeValidity.value_or(0)))));
    }
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
