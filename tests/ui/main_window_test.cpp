// The desktop program's window driven by its buttons: the ways back between the screens, and a whole
// recovery from a kit image added as a disk image, through "Progress" and "Tree" to saved files that
// match the manifest.
#include "main_window.h"

#include <unistd.h>

#include <QApplication>
#include <QCheckBox>
#include <QListWidget>
#include <QMessageBox>
#include <QTimer>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTreeWidget>
#include <filesystem>
#include <fstream>

#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "signatures_page.h"
#include "window_driver.h"
#include "tree/record_tree_model.h"
#include "tree/tree_page.h"

namespace nua::ui {
namespace {

namespace fs = std::filesystem;

std::string readAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool click(MainWindow& window, const QString& caption) { return testing::clickButton(window, caption); }

// Clicks the row of a list screen whose dictionary `matches`; false when there is none.
template <class Row>
bool selectRow(MainWindow& window, const char* listName, const std::vector<Row>& rows,
               const std::type_identity_t<std::function<bool(const Row&)>>& matches) {
  return testing::clickListRow(window.findChild<QListWidget*>(listName), testing::rowWhere(rows, matches));
}

}  // namespace

class MainWindowTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    folder_ = fs::temp_directory_path() / ("nua-ui-window-" + std::to_string(::getpid()));
    fs::create_directories(folder_);
    // The signature files are copied into the user's data folder on first use: keep them in ours.
    qputenv("XDG_DATA_HOME", QByteArray::fromStdString((folder_ / "data").string()));
    for (const char* scenario : {"demo", "hfs-journal-deleted"}) {
      std::string error;
      const imagekit::Scenario* found = imagekit::findScenario(scenario);
      QVERIFY(found != nullptr);
      QVERIFY2(found->make((folder_ / (std::string(scenario) + ".img")).string(), {}, manifests_[scenario], error),
               error.c_str());
    }
  }
  void cleanupTestCase() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  void everyWayBackAtTheWindow() {
    MainWindow window;
    window.uiBridge().answerAutomatically(1);  // "OK" in the tips
    window.show();
    const QString image = QString::fromStdString((folder_ / "demo.img").string());
    window.addDiskImage(image);
    WizardController& c = window.controller();
    QCOMPARE(window.currentTab(), QString("Main Screen"));
    const QString goals[] = {"Recover Files", "Recover Photos", "Recover Partitions"};
    for (const QString& goal : goals) {
      QVERIFY(click(window, goal));
      QCOMPARE(window.currentTab(), goal);
      QVERIFY(click(window, "Back"));
      QCOMPARE(window.currentTab(), QString("Main Screen"));
    }
    // A mode's drive list goes back to its mode screen, with Next off until a row is chosen.
    QVERIFY(click(window, "Recover Photos"));
    QVERIFY(click(window, "Fast Scan"));
    QCOMPARE(window.currentTab(), QString("Drives List"));
    QVERIFY(!window.control(WizardControl::kDrivesListNext)->isEnabled());
    QVERIFY(click(window, "Back"));
    QCOMPARE(window.currentTab(), QString("Recover Photos"));
    QCOMPARE(c.scanMode, -1);
    QVERIFY(click(window, "Back"));

    // The partition path, and back from each screen on it.
    QVERIFY(click(window, "Recover Partitions"));
    QVERIFY(click(window, "Partition Recovery"));
    QVERIFY(selectRow(window, "drivesList", c.drivesListRows(),
                      [&](const DriveRow& row) { return row.path == image.toStdString(); }));
    QVERIFY(window.control(WizardControl::kDrivesListNext)->isEnabled());
    QVERIFY(click(window, "Next"));
    QCOMPARE(window.currentTab(), QString("PT list"));
    QVERIFY(window.control(WizardControl::kScanForVolumesBox)->isEnabled());
    QVERIFY(selectRow(window, "ptList", c.partitionListDictArray, [](const PartitionRow&) { return true; }));
    QVERIFY(click(window, "Next"));
    QCOMPARE(window.currentTab(), QString("Tree scan mode"));
    QVERIFY(click(window, "Standard Scan"));
    QCOMPARE(window.currentTab(), QString("Signatures"));
    QVERIFY(!window.control(WizardControl::kSignaturesNext)->isEnabled());
    QVERIFY(!c.sigRootArray.empty());
    auto* outline = window.findChild<QTreeWidget*>("signatureOutline");
    QVERIFY(testing::clickCheckBox(outline, outline->topLevelItem(0), SignaturesPage::kMarkColumn));
    QVERIFY(window.control(WizardControl::kSignaturesNext)->isEnabled());
    testing::clickCheckBox(qobject_cast<QCheckBox*>(window.control(WizardControl::kRawSearchBox)));
    QVERIFY(c.rawSearchBoxOn());
    QVERIFY(click(window, "Next"));
    QCOMPARE(window.currentTab(), QString("Raw slider"));
    QVERIFY(click(window, "Back"));
    QCOMPARE(window.currentTab(), QString("Signatures"));
    QVERIFY(!window.control(WizardControl::kSignaturesNext)->isEnabled());
    QVERIFY(click(window, "Back"));
    QCOMPARE(window.currentTab(), QString("Tree scan mode"));
    QTRY_VERIFY(c.selectedVolume == nullptr);
    QVERIFY(click(window, "Back"));
    QCOMPARE(window.currentTab(), QString("PT list"));
    QVERIFY(click(window, "Back"));
    QCOMPARE(window.currentTab(), QString("Drives List"));
    QVERIFY(click(window, "Home"));
    QCOMPARE(window.currentTab(), QString("Main Screen"));
    // Off "Tree" with no scan running, the window may close.
    QVERIFY(c.windowShouldClose());
  }

  // "Recover Files", fast, the journaled HFS+ image with deleted files added as a disk image: the scan
  // runs to "Tree", and the deleted files saved from there match the manifest.
  void recoverDeletedFilesFromAnImage() {
    MainWindow window;
    std::vector<std::string> alerts;
    window.uiBridge().answerAutomatically(0);
    window.uiBridge().alertShown = [&](const Alert& alert) { alerts.push_back(alert.title); };
    window.show();
    const std::string image = (folder_ / "hfs-journal-deleted.img").string();
    window.addDiskImage(QString::fromStdString(image));
    WizardController& c = window.controller();
    QVERIFY(click(window, "Recover Files"));
    QVERIFY(click(window, "Fast Scan"));
    QCOMPARE(window.currentTab(), QString("Drives List"));
    QVERIFY(selectRow(window, "drivesList", c.drivesListRows(),
                      [&](const DriveRow& row) { return row.path == image && row.isVolume; }));
    QVERIFY(click(window, "Next"));
    QCOMPARE(window.currentTab(), QString("Progress"));  // no screen between for a journaled volume
    QTRY_COMPARE_WITH_TIMEOUT(window.currentTab(), QString("Tree"), 60000);
    QVERIFY(!c.scanIsRunning);
    QVERIFY(std::find(alerts.begin(), alerts.end(), "Deleted file scan completed") != alerts.end());

    const imagekit::Manifest& manifest = manifests_["hfs-journal-deleted"];
    std::vector<imagekit::ManifestEntry> deleted;
    for (const auto& e : manifest.volumes.at(0).entries)
      if (e.deleted && !e.folder && e.size > 0) deleted.push_back(e);
    QVERIFY(!deleted.empty());
    auto* tree = window.findChild<TreePage*>();
    QVERIFY(tree != nullptr);
    QSignalSpy prepared(tree, &TreePage::treePrepared);
    tree->toggleTreeDeleted();  // the deleted files alone
    QVERIFY(prepared.count() == 1 || prepared.wait(30000));
    QVERIFY(tree->model()->setData(tree->model()->index(0, RecordTreeModel::kMark), Qt::Checked, Qt::CheckStateRole));
    const fs::path out = folder_ / "saved";
    fs::create_directories(out);
    tree->chooseFolder = [&] { return std::optional<QString>(QString::fromStdString(out.string())); };
    QSignalSpy finished(tree, &TreePage::savingFinished);
    tree->saveButton()->click();
    QVERIFY(finished.count() == 1 || finished.wait(60000));
    // Each deleted file is found once among the saved files, by name, with the manifest's content.
    std::map<std::string, fs::path> savedByName;
    for (const auto& entry : fs::recursive_directory_iterator(out))
      if (entry.is_regular_file()) savedByName[entry.path().filename().string()] = entry.path();
    for (const auto& e : deleted) {
      QVERIFY2(savedByName.count(e.name) == 1, e.path.c_str());
      const std::string bytes = readAll(savedByName[e.name]);
      QCOMPARE(imagekit::sha256Hex(std::as_bytes(std::span(bytes.data(), bytes.size()))), e.sha256);
    }
    // Leaving the result: the tip, then the drive list built again.
    window.uiBridge().answerAutomatically(1);
    tree->buttonTreeBackToPartitions()->click();
    QTRY_COMPARE(window.currentTab(), QString("Drives List"));
    QVERIFY(c.selectedVolume == nullptr);
  }

  // A source cut short after it was listed: the scan reads what is there, Stop and its question work
  // on the way, the scan ends, and the user can leave its screen.
  void aSourceCutShortAfterListingStillEnds() {
    const fs::path cut = folder_ / "cut.img";
    fs::copy_file(folder_ / "demo.img", cut, fs::copy_options::overwrite_existing);
    MainWindow window({QString::fromStdString(cut.string())});
    window.uiBridge().answerAutomatically(0);
    window.show();
    WizardController& c = window.controller();
    QVERIFY(click(window, "Recover Files"));
    QVERIFY(click(window, "Fast Scan"));
    QVERIFY(selectRow(window, "drivesList", c.drivesListRows(), [&](const DriveRow& row) {
      return row.path == cut.string() && row.content.rfind("FAT", 0) == 0;
    }));
    fs::resize_file(cut, 64 * 1024);
    // While the scan waits on a status it sent, the user clicks Stop and confirms in the question.
    bool stopAnswered = false;
    const std::function<void()> redraw = c.progressChanged;
    c.progressChanged = [&, redraw] {
      redraw();
      if (stopAnswered || !c.scanIsRunning || window.currentTab() != "Progress") return;
      stopAnswered = true;
      QTimer::singleShot(0, &window, [] {
        auto* question = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        QVERIFY(question != nullptr);
        for (QAbstractButton* button : question->buttons())
          if (button->text() == "Stop Scan") QTest::mouseClick(button, Qt::LeftButton);
      });
      QVERIFY(click(window, "Stop"));
    };
    QVERIFY(click(window, "Next"));
    const std::shared_ptr<Volume> scanned = c.selectedVolume;
    QVERIFY(scanned != nullptr);
    QTRY_VERIFY_WITH_TIMEOUT(!c.scanIsRunning, 60000);
    QVERIFY(stopAnswered);
    QVERIFY(scanned->stopTreeThread);  // "Stop Scan" reached the scan
    QVERIFY(!c.abortSheetVisible());
    QVERIFY(QApplication::activeModalWidget() == nullptr);
    QTRY_VERIFY(window.currentTab() == "Tree" || window.currentTab() == "Drives List");
    if (window.currentTab() == "Tree") {
      window.uiBridge().answerAutomatically(1);  // "OK" in the tip
      QVERIFY(click(window, "Back"));
    }
    QTRY_COMPARE(window.currentTab(), QString("Drives List"));
  }

  // "Recover Photos", advanced, a whole disk with a file type marked: the disk is searched and the
  // result shown; Back leads to the drive list, which works, and the program quits. Last, as it ends
  // with the quit.
  void aWholeDiskSearchEndsInTheTreeAndBackOnTheDriveList() {
    MainWindow window;
    std::vector<std::string> alerts;
    window.uiBridge().answerAutomatically(0);
    window.uiBridge().alertShown = [&](const Alert& alert) { alerts.push_back(alert.title); };
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    const std::string image = (folder_ / "demo.img").string();
    window.addDiskImage(QString::fromStdString(image));
    WizardController& c = window.controller();
    auto isDisk = [&](const DriveRow& row) { return row.path == image && !row.isVolume; };
    QVERIFY(click(window, "Recover Photos"));
    QVERIFY(click(window, "Advanced Scan"));
    QVERIFY(selectRow(window, "drivesList", c.drivesListRows(), isDisk));
    QVERIFY(click(window, "Next"));
    QCOMPARE(window.currentTab(), QString("Signatures"));
    auto* outline = window.findChild<QTreeWidget*>("signatureOutline");
    QVERIFY(testing::clickCheckBox(outline, outline->topLevelItem(0), SignaturesPage::kMarkColumn));
    QVERIFY(click(window, "Next"));
    QTRY_VERIFY_WITH_TIMEOUT(!c.scanIsRunning, 60000);
    QVERIFY(std::find(alerts.begin(), alerts.end(), "!Can not process") == alerts.end());
    QTRY_VERIFY(window.currentTab() == "Tree" || window.currentTab() == "Drives List");
    if (window.currentTab() == "Tree") {
      window.uiBridge().answerAutomatically(1);  // "OK" in the tip
      QVERIFY(click(window, "Back"));
    }
    QTRY_COMPARE(window.currentTab(), QString("Drives List"));
    QTRY_VERIFY(c.selectedVolume == nullptr);
    testing::screenshot(window, "drives-list-after-disk-search");
    // Next stands for the row shown chosen, if any (the focus coming back to the list may choose the
    // first row).
    auto* list = window.findChild<QListWidget*>("drivesList");
    QCOMPARE(window.control(WizardControl::kDrivesListNext)->isEnabled(), !list->selectedItems().isEmpty());
    QVERIFY(testing::buttonOnScreen(window, "Stop") == nullptr);

    // The list works as before: the disk again, Next, and home.
    QVERIFY(selectRow(window, "drivesList", c.drivesListRows(), isDisk));
    QVERIFY(click(window, "Next"));
    QCOMPARE(window.currentTab(), QString("Signatures"));
    QVERIFY(click(window, "Home"));
    QCOMPARE(window.currentTab(), QString("Main Screen"));

    // Closing the window is quitting: no scan is left to refuse it.
    alerts.clear();
    QVERIFY(window.close());
    QVERIFY(alerts.empty());
  }

  // A search's update reaches every field of "Progress": its status after the scan's own line, the
  // bar's share, the time left, the percentage, the completed size and what was found so far.
  void progressShowsEveryPartOfASearchUpdate() {
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    WizardController& c = window.controller();
    c.mainScanStatus = "Searching for music, video and photos from Photos";
    ScanProgress update = ScanProgress::withStatus("Searching for signatures");
    update.bar = ProgressBar::kDeterminate;
    update.barMinimum = 0;
    update.barMaximum = 4000;
    update.barValue = 1000;
    update.timeRemaining = "0:00:03:20";
    update.percentDone = 25.0;
    update.sizeDone = 500000000;
    update.totalSize = 2000000000;
    update.counts = ScanCounts{9, 2, 7, 1234567};
    c.report(update);
    const auto text = [&](const char* name) { return window.findChild<QLabel*>(name)->text(); };
    QCOMPARE(text("scanStatus"), QString("Searching for music, video and photos from Photos - Searching for signatures"));
    QCOMPARE(text("timeRemaining"), QString("0:00:03:20"));
    QCOMPARE(text("percentDone"), QString("Overall Progress: 25%"));
    QCOMPARE(text("completedSize"), QString("Completed: 500.00 MB / 2.00 GB"));
    QCOMPARE(text("entriesFound"), QString("9"));
    QCOMPARE(text("foldersFound"), QString("2"));
    QCOMPARE(text("filesFound"), QString("7"));
    QCOMPARE(text("dataFound"), QString("1.23 MB"));
    auto* bar = window.findChild<QProgressBar*>("scanProgressBar");
    QCOMPARE(bar->value() - bar->minimum(), (bar->maximum() - bar->minimum()) / 4);
    // An update without the time, the percentage or the size blanks them.
    c.report(ScanProgress::withStatus("Searching for signatures"));
    QCOMPARE(text("timeRemaining"), QString());
    QCOMPARE(text("percentDone"), QString());
    QCOMPARE(text("completedSize"), QString(" "));
    QCOMPARE(text("filesFound"), QString("7"));
  }

 private:
  fs::path folder_;
  std::map<std::string, imagekit::Manifest> manifests_;
};

}  // namespace nua::ui

QTEST_MAIN(nua::ui::MainWindowTest)
#include "main_window_test.moc"
