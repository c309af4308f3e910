// The window's side of crash recovery and quitting, driven as a user would: Quit during a search is
// refused, Quit and closing on "Tree" ask about the session; a search's recovery pair, taken as a
// killed process would leave it, is offered once at the next start, removed on "NO", and resumed on
// "YES" or "auto" to the same result the whole search gave.
#include <unistd.h>

#include <QAction>
#include <QApplication>
#include <QTest>
#include <QTreeWidget>
#include <filesystem>

#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "main_window.h"
#include "session/recovery_pair_location.h"
#include "signatures_page.h"
#include "window_driver.h"

namespace nua::ui {
namespace {

namespace fs = std::filesystem;

bool click(MainWindow& window, const QString& caption) { return testing::clickButton(window, caption); }

QAction* quitAction(MainWindow& window) {
  for (QAction* action : window.findChildren<QAction*>())
    if (action->text() == "Quit") return action;
  return nullptr;
}

// Keeps a copy of each pair as it stands when its search is guarded: what the process would leave
// if it were killed at the search's start.
class PairCopyingGuard : public SearchGuard {
 public:
  explicit PairCopyingGuard(fs::path into) : into_(std::move(into)) {}
  std::string guardSearch(const RecoveryPairPaths& pair) override {
    ++guarded;
    fs::create_directories(into_);
    for (const std::string& file : {pair.recoveryFile, pair.infoFile})
      fs::copy_file(file, into_ / fs::path(file).filename(), fs::copy_options::overwrite_existing);
    return {};
  }
  int guarded = 0;

 private:
  fs::path into_;
};

}  // namespace

class CrashRecoveryWindowTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    folder_ = fs::temp_directory_path() / ("nua-ui-crash-" + std::to_string(::getpid()));
    fs::remove_all(folder_);
    fs::create_directories(folder_);
    qputenv("XDG_DATA_HOME", QByteArray::fromStdString((folder_ / "data").string()));
    imagekit::Manifest manifest;
    std::string error;
    const imagekit::Scenario* demo = imagekit::findScenario("demo");
    QVERIFY(demo != nullptr);
    image_ = (folder_ / "demo.img").string();
    QVERIFY2(demo->make(image_, {}, manifest, error), error.c_str());
  }
  void cleanupTestCase() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  // A whole-disk photo search: Quit and closing while it runs are refused with the program's text; its pair stands
  // during the search and goes at its end; on "Tree" Quit and closing ask about the session, and
  // "Cancel" keeps the program.
  void quittingDuringASearchAndOnTheTree() {
    StateFolderLocation location((folder_ / "state").string());
    PairCopyingGuard guard(left());
    MainWindow window;
    window.enableCrashRecovery(&location, &guard);
    std::vector<Alert> alerts;
    window.uiBridge().answerAutomatically(0);
    window.uiBridge().alertShown = [&](const Alert& alert) { alerts.push_back(alert); };
    window.show();
    window.addDiskImage(QString::fromStdString(image_));
    WizardController& c = window.controller();
    QVERIFY(click(window, "Recover Photos"));
    QVERIFY(click(window, "Advanced Scan"));
    QVERIFY(testing::clickListRow(window.findChild<QListWidget*>("drivesList"),
                                  testing::rowWhere(c.drivesListRows(), [&](const DriveRow& row) {
                                    return row.path == image_ && !row.isVolume;
                                  })));
    QVERIFY(click(window, "Next"));
    auto* outline = window.findChild<QTreeWidget*>("signatureOutline");
    QVERIFY(testing::clickCheckBox(outline, outline->topLevelItem(0), SignaturesPage::kMarkColumn));

    // The first update of the running search: Quit is chosen from the menu.
    bool quitTried = false;
    bool pairDuringSearch = false;
    bool closedDuringSearch = true;
    const std::function<void()> redraw = c.progressChanged;
    c.progressChanged = [&, redraw] {
      redraw();
      if (quitTried || !c.scanIsRunning || window.currentTab() != "Progress") return;
      quitTried = true;
      pairDuringSearch = recoveryPairPresence(location.paths()).recoveryFile;
      quitAction(window)->trigger();
      closedDuringSearch = window.close();  // the window's close button is quitting too
    };
    QVERIFY(click(window, "Next"));
    QTRY_VERIFY_WITH_TIMEOUT(!c.scanIsRunning, 60000);
    QVERIFY(quitTried);
    const auto refused = [](const Alert& a) { return a.title == "Scan running"; };
    const auto refusal = std::find_if(alerts.begin(), alerts.end(), refused);
    QVERIFY(refusal != alerts.end());
    QCOMPARE(refusal->text, std::string("A scan is in progress. Please stop that scan first, in order to quit "
                                        "Nua Recovery Software."));
    QCOMPARE(refusal->buttons, std::vector<std::string>{"OK"});
    QVERIFY(!closedDuringSearch);
    QCOMPARE(std::count_if(alerts.begin(), alerts.end(), refused), 2);
    QCOMPARE(guard.guarded, 1);
    QVERIFY(!recoveryPairPresence(location.paths()).recoveryFile);
    QVERIFY(!recoveryPairPresence(location.paths()).infoFile);
    QVERIFY(pairDuringSearch);
    QTRY_COMPARE(window.currentTab(), QString("Tree"));
    wholeSearchFiles_ = c.selectedVolume->counters.fileCount;
    QVERIFY(wholeSearchFiles_ > 0);

    // "Cancel" (the third button) in the session question keeps the program on "Tree".
    alerts.clear();
    window.uiBridge().answerAutomatically(2);
    quitAction(window)->trigger();
    QCOMPARE(alerts.size(), std::size_t{1});
    QCOMPARE(alerts[0].title, std::string("Do you want to save recovery session?"));
    QCOMPARE(alerts[0].buttons, (std::vector<std::string>{"Yes", "No", "Cancel"}));
    QVERIFY(!window.close());
    QCOMPARE(alerts.size(), std::size_t{2});
    QVERIFY(window.isVisible());
    QCOMPARE(window.currentTab(), QString("Tree"));
    // "No" lets the window close.
    window.uiBridge().answerAutomatically(1);
    QVERIFY(window.close());
  }

  // One file of a pair alone asks nothing and stays; a whole pair asks once, and "NO" removes it.
  void aLeftPairIsOfferedOnceAndNoRemovesIt() {
    QVERIFY(fs::exists(left() / "KelvoMediaAutoRecovery.dat"));
    const fs::path lone = folder_ / "lone";
    fs::create_directories(lone);
    fs::copy_file(left() / "KelvoMediaAutoRecovery.dat", lone / "KelvoMediaAutoRecovery.dat");
    StateFolderLocation loneLocation(lone.string());
    std::vector<Alert> alerts;
    {
      MainWindow window;
      window.enableCrashRecovery(&loneLocation, nullptr);
      window.uiBridge().answerAutomatically(1);
      window.uiBridge().alertShown = [&](const Alert& alert) { alerts.push_back(alert); };
      window.startUp({});
      QVERIFY(alerts.empty());
      QVERIFY(fs::exists(lone / "KelvoMediaAutoRecovery.dat"));
    }

    const fs::path asked = copyOfLeftPair("asked");
    StateFolderLocation location(asked.string());
    MainWindow window;
    window.enableCrashRecovery(&location, nullptr);
    window.uiBridge().answerAutomatically(1);  // "NO"
    window.uiBridge().alertShown = [&](const Alert& alert) { alerts.push_back(alert); };
    window.startUp({});
    QCOMPARE(alerts.size(), std::size_t{1});
    QCOMPARE(alerts[0].title, std::string("Resume Recovery?"));
    QCOMPARE(alerts[0].text,
             std::string("A previous recovery scan was not completed. Do you wish to resume that same scan?"));
    QCOMPARE(alerts[0].buttons, (std::vector<std::string>{"YES", "NO"}));
    QVERIFY(!recoveryPairPresence(location.paths()).recoveryFile);
    QVERIFY(!recoveryPairPresence(location.paths()).infoFile);
    QCOMPARE(window.currentTab(), QString("Main Screen"));
    window.startUp({});  // the question comes once
    QCOMPARE(alerts.size(), std::size_t{1});
  }

  // "YES", and a start with "auto" (which asks nothing, and wins over a session file named), resume the
  // search on their own and end on "Tree" with the whole search's finds; the pair goes at the end.
  void yesOrAutoResumesTheSearch() {
    for (const QStringList& arguments : {QStringList{}, QStringList{"auto", "other.nvs"}}) {
      const fs::path pairFolder = copyOfLeftPair(arguments.isEmpty() ? "yes" : "auto");
      StateFolderLocation location(pairFolder.string());
      MainWindow window;
      window.enableCrashRecovery(&location, nullptr);
      std::vector<std::string> titles;
      window.uiBridge().answerAutomatically(0);  // "YES", and "OK" in the notes
      window.uiBridge().alertShown = [&](const Alert& alert) { titles.push_back(alert.title); };
      window.show();
      window.startUp(arguments);
      WizardController& c = window.controller();
      QTRY_VERIFY_WITH_TIMEOUT(c.scanIsRunning || window.currentTab() == "Tree", 30000);
      QTRY_VERIFY_WITH_TIMEOUT(!c.scanIsRunning, 60000);
      QTRY_COMPARE(window.currentTab(), QString("Tree"));
      QVERIFY(c.autoStartAfterRawCrash);
      QCOMPARE(c.selectedVolume->path, image_);
      QCOMPARE(c.selectedVolume->counters.fileCount, wholeSearchFiles_);
      QCOMPARE(std::count(titles.begin(), titles.end(), std::string("Resume Recovery?")),
               arguments.isEmpty() ? 1 : 0);
      QVERIFY(!recoveryPairPresence(location.paths()).recoveryFile);
      QVERIFY(!recoveryPairPresence(location.paths()).infoFile);
      window.uiBridge().answerAutomatically(1);  // "No" to the session question
      QVERIFY(window.close());
    }
  }

 private:
  fs::path left() const { return folder_ / "left"; }
  fs::path copyOfLeftPair(const std::string& name) {
    const fs::path copy = folder_ / name;
    fs::create_directories(copy);
    for (const char* file : {"KelvoMediaAutoRecovery.dat", "KelvoMediaAutoRecoveryInfo.dat"})
      fs::copy_file(left() / file, copy / file, fs::copy_options::overwrite_existing);
    return copy;
  }

  fs::path folder_;
  std::string image_;
  std::uint64_t wholeSearchFiles_ = 0;
};

}  // namespace nua::ui

QTEST_MAIN(nua::ui::CrashRecoveryWindowTest)
#include "crash_recovery_window_test.moc"
