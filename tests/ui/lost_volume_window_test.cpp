// The lost-volume path of the desktop program, clicked through as a person does: the check box on
// "PT list", the search's live table on "PT scan prog", the rated list on "PT scan list", and the
// tree scan of a found volume up to "Tree", checked against the kit's manifest.
#include <unistd.h>

#include <QApplication>
#include <QCheckBox>
#include <QListWidget>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <filesystem>

#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "main_window.h"

namespace nua::ui {
namespace {

namespace fs = std::filesystem;

// Clicks, with the mouse, the enabled button of the shown screen whose caption begins with `caption`.
bool clickButton(MainWindow& window, const QString& caption) {
  QWidget* page = window.page(window.currentTab());
  if (page == nullptr) return false;
  for (QPushButton* button : page->findChildren<QPushButton*>())
    if (button->text().startsWith(caption) && button->isVisible() && button->isEnabled()) {
      QTest::mouseClick(button, Qt::LeftButton);
      return true;
    }
  return false;
}

// Clicks the row of a list whose dictionary `matches`.
template <class Row>
bool clickRow(MainWindow& window, const char* listName, const std::vector<Row>& rows,
              const std::type_identity_t<std::function<bool(const Row&)>>& matches) {
  auto* list = window.findChild<QListWidget*>(listName);
  if (list == nullptr) return false;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (!matches(rows[i])) continue;
    QListWidgetItem* item = list->item(static_cast<int>(i));
    if (item == nullptr) return false;
    list->scrollToItem(item);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
    return list->currentRow() == static_cast<int>(i);
  }
  return false;
}

}  // namespace

class LostVolumeWindowTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    folder_ = fs::temp_directory_path() / ("nua-ui-lost-" + std::to_string(::getpid()));
    fs::create_directories(folder_);
    qputenv("XDG_DATA_HOME", QByteArray::fromStdString((folder_ / "data").string()));
    std::string error;
    const imagekit::Scenario* scenario = imagekit::findScenario("lost-two-volumes");
    QVERIFY(scenario != nullptr);
    QVERIFY2(scenario->make((folder_ / "lost.img").string(), {}, manifest_, error), error.c_str());
  }
  void cleanupTestCase() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  void searchTheDiskAndScanAFoundVolume() {
    MainWindow window;
    window.uiBridge().answerAutomatically(1);  // "OK" in the tips
    window.resize(900, 700);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    const std::string image = (folder_ / "lost.img").string();
    window.addDiskImage(QString::fromStdString(image));
    WizardController& c = window.controller();

    QVERIFY(clickButton(window, "Recover Partitions"));
    QVERIFY(clickButton(window, "Partition Recovery"));
    QVERIFY(clickRow(window, "drivesList", c.drivesListRows(),
                     [&](const DriveRow& row) { return row.path == image; }));
    QVERIFY(clickButton(window, "Next"));
    QCOMPARE(window.currentTab(), QString("PT list"));
    QVERIFY(c.partitionListDictArray.empty());  // the map is gone
    QVERIFY(!window.control(WizardControl::kPTListNext)->isEnabled());
    auto* box = window.findChild<QCheckBox*>("scanForVolumes");
    QVERIFY(box != nullptr && box->isEnabled());
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(box->height() / 2, box->height() / 2));
    QVERIFY(box->isChecked());
    QVERIFY(window.control(WizardControl::kPTListNext)->isEnabled());
    QVERIFY(clickButton(window, "Next"));
    QCOMPARE(window.currentTab(), QString("PT scan prog"));
    QTRY_COMPARE_WITH_TIMEOUT(window.currentTab(), QString("PT scan list"), 60000);

    // The live table kept one row per report, first the journaled volume at its start.
    auto* found = window.findChild<QTableWidget*>("foundVolumes");
    QVERIFY(found != nullptr);
    QCOMPARE(found->rowCount(), static_cast<int>(c.volumeScanScreen().volumeScanFoundArray.size()));
    QVERIFY(found->rowCount() >= 2);
    const auto& journaled = manifest_.volumes.at(0);
    const auto& wrapped = manifest_.volumes.at(1);
    QCOMPARE(found->item(0, 0)->text(), QString("Volume Found @ Sector: %1").arg(journaled.startSector));
    QCOMPARE(found->item(0, 1)->text(), QString("100"));

    // The list rates each volume; Next waits for a row.
    auto* list = window.findChild<QListWidget*>("ptScanList");
    QVERIFY(list != nullptr);
    QCOMPARE(list->count(), static_cast<int>(c.partitionScanListDictArray.size()));
    QVERIFY(!window.control(WizardControl::kPTScanListNext)->isEnabled());
    int wrappedRow = -1;
    for (int i = 0; i < list->count(); ++i) {
      const PartitionRow& row = c.partitionScanListDictArray[static_cast<std::size_t>(i)];
      const QString rating = list->item(i)->data(Qt::UserRole + 1).toString();
      QCOMPARE(rating, QString(row.volumeValidity.value_or(0) >= 91 ? "5_" : "0_5"));
      if (row.volumeStart == wrapped.startSector) wrappedRow = i;
    }
    QVERIFY(wrappedRow >= 0);
    QVERIFY(clickRow(window, "ptScanList", c.partitionScanListDictArray,
                     [&](const PartitionRow& row) { return row.volumeStart == wrapped.startSector; }));
    QVERIFY(window.control(WizardControl::kPTScanListNext)->isEnabled());
    QVERIFY(clickButton(window, "Next"));
    QCOMPARE(window.currentTab(), QString("Tree scan mode"));
    QCOMPARE(c.isPTListOrPTScanListChosen, 1);
    QVERIFY(clickButton(window, "Standard Scan"));
    QCOMPARE(window.currentTab(), QString("Signatures"));
    QVERIFY(clickButton(window, "Skip"));
    QTRY_COMPARE_WITH_TIMEOUT(window.currentTab(), QString("Tree"), 60000);

    // The tree is the wrapped volume's: its live files, by count.
    QVERIFY(c.selectedVolume != nullptr);
    QCOMPARE(c.selectedVolume->volumeScanType, 1);
    QCOMPARE(c.selectedVolume->HPlusVolStart, wrapped.startSector);
    const Entry* root = c.selectedVolume->dirRoot;
    QVERIFY(root != nullptr);
    std::uint32_t liveFiles = 0;
    for (const auto& entry : wrapped.entries)
      if (!entry.folder && !entry.deleted) ++liveFiles;
    QCOMPARE(root->fileCount, liveFiles);
  }

 private:
  fs::path folder_;
  imagekit::Manifest manifest_;
};

}  // namespace nua::ui

QTEST_MAIN(nua::ui::LostVolumeWindowTest)
#include "lost_volume_window_test.moc"
