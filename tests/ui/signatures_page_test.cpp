// "Signatures" and the range screen, clicked and keyed as a person does: the outline changes its rows
// in place while Qt handles the click, the count texts and Next follow every mark, find marks and
// selects what it finds, and the range sliders reach the volume only when start is below end.
#include "signatures_page.h"

#include <unistd.h>

#include <QLabel>
#include <QLineEdit>
#include <QSlider>
#include <QSpinBox>
#include <QTest>
#include <QTreeWidget>
#include <filesystem>

#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "main_window.h"
#include "volume/volume.h"
#include "window_driver.h"

namespace nua::ui {
namespace {

namespace fs = std::filesystem;
using namespace nua::ui::testing;

// One click on a box of the first category, and what it must leave behind.
struct MarkStep {
  const char* what;
  bool onCategory;      // the category's box, else its first file type's
  int markedAfter;      // file types marked; -1 stands for all of the category's
  bool firstTypeMarked;
};

constexpr int kMark = SignaturesPage::kMarkColumn;

int typeCount(const QTreeWidget* outline) {
  int types = 0;
  for (int i = 0; i < outline->topLevelItemCount(); ++i) types += outline->topLevelItem(i)->childCount();
  return types;
}

}  // namespace

class SignaturesPageTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    folder_ = fs::temp_directory_path() / ("nua-ui-signatures-" + std::to_string(::getpid()));
    fs::create_directories(folder_);
    qputenv("XDG_DATA_HOME", QByteArray::fromStdString((folder_ / "data").string()));
    const imagekit::Scenario* demo = imagekit::findScenario("demo");
    QVERIFY(demo != nullptr);
    std::string error;
    imagekit::Manifest manifest;
    image_ = (folder_ / "demo.img").string();
    QVERIFY2(demo->make(image_, {}, manifest, error), error.c_str());
  }
  void cleanupTestCase() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  // Each click on a box changes the marks, the count texts and Next, and the program lives on.
  void checkBoxesMarkAndUnmark() {
    MainWindow window;
    QVERIFY(enterSignatures(window));
    WizardController& c = window.controller();
    auto* outline = window.findChild<QTreeWidget*>("signatureOutline");
    auto* marked = window.findChild<QLabel*>("sigMarkedCount");
    auto* total = window.findChild<QLabel*>("sigTotalCount");
    auto* categories = window.findChild<QLabel*>("sigCategoriesCount");
    QVERIFY(outline != nullptr && marked != nullptr && total != nullptr && categories != nullptr);
    QVERIFY(outline->topLevelItemCount() > 0);
    QWidget* next = window.control(WizardControl::kSignaturesNext);
    QVERIFY(!next->isEnabled());
    const int all = typeCount(outline);
    QCOMPARE(marked->text(), QString("Marked: 0, Unmarked: %1").arg(all));
    QCOMPARE(total->text(), QString("Total Signatures: %1").arg(all));
    QCOMPARE(categories->text(), QString("Total Categories: %1").arg(outline->topLevelItemCount()));

    // Open the first category with the keys: click its name, then the right arrow.
    QTreeWidgetItem* category = outline->topLevelItem(0);
    QTest::mouseClick(outline->viewport(), Qt::LeftButton, {}, outline->visualItemRect(category).center());
    QTest::keyClick(outline, Qt::Key_Right);
    QVERIFY(category->isExpanded());
    QVERIFY(category->childCount() > 0);
    const int types = category->childCount();

    const MarkStep steps[] = {
        {"a file type's box marks it", false, 1, true},
        {"the same box again unmarks it", false, 0, false},
        {"the category's box marks all its types", true, -1, true},
        {"a file type's box then unmarks that type alone", false, types - 1, false},
        {"the partly marked category's box marks all again", true, -1, true},
        {"the category's box unmarks them all", true, 0, false},
    };
    for (const MarkStep& step : steps) {
      // The rows are looked up afresh: a step must not depend on an item a rebuild would have freed.
      QTreeWidgetItem* target = step.onCategory ? outline->topLevelItem(0) : outline->topLevelItem(0)->child(0);
      QVERIFY2(target != nullptr, step.what);
      QVERIFY2(clickCheckBox(outline, target, kMark), step.what);
      const int count = step.markedAfter < 0 ? types : step.markedAfter;
      QVERIFY2(c.sigSelArray.size() == static_cast<std::size_t>(count), step.what);
      QCOMPARE(marked->text(), QString("Marked: %1, Unmarked: %2").arg(count).arg(all - count));
      QVERIFY2(next->isEnabled() == (count > 0), step.what);
      const Qt::CheckState categoryState = count == 0 ? Qt::Unchecked : count == types ? Qt::Checked : Qt::PartiallyChecked;
      QVERIFY2(outline->topLevelItem(0)->checkState(kMark) == categoryState, step.what);
      QVERIFY2(outline->topLevelItem(0)->child(0)->checkState(kMark) == (step.firstTypeMarked ? Qt::Checked : Qt::Unchecked),
               step.what);
      if (categoryState == Qt::PartiallyChecked) screenshot(window, "signatures-partly-marked");
    }

    // Mark one again and go on: Next starts the scan, which ends on "Tree".
    QVERIFY(clickCheckBox(outline, outline->topLevelItem(0)->child(0), kMark));
    QVERIFY(clickButton(window, "Next"));
    QTRY_VERIFY_WITH_TIMEOUT(!c.scanIsRunning, 60000);
    QTRY_COMPARE_WITH_TIMEOUT(window.currentTab(), QString("Tree"), 10000);
  }

  // Return in the find field marks every file type that matches, selects the first, and the stepper
  // walks the others; a text that matches nothing says so and marks nothing.
  void findMarksAndSelectsTheMatches() {
    MainWindow window;
    QVERIFY(enterSignatures(window));
    WizardController& c = window.controller();
    auto* outline = window.findChild<QTreeWidget*>("signatureOutline");
    auto* find = window.findChild<QLineEdit*>("findFileTypes");
    auto* stepper = window.findChild<QSpinBox*>("stepperFT");
    auto* status = window.findChild<QLabel*>("findFTStatus");
    QVERIFY(find != nullptr && stepper != nullptr && status != nullptr);
    QCOMPARE(find->placeholderText(), QString("Find (type e.g. mp3 and press return)"));

    QTest::mouseClick(find, Qt::LeftButton);
    QTest::keyClicks(find, "no such type");
    QTest::keyClick(find, Qt::Key_Return);
    QCOMPARE(status->text(), QString("No entry found"));
    QVERIFY(!stepper->isEnabled());
    QVERIFY(c.sigSelArray.empty());

    find->selectAll();
    QTest::keyClicks(find, "jp");
    QTest::keyClick(find, Qt::Key_Return);
    std::vector<QTreeWidgetItem*> matches;
    for (int i = 0; i < outline->topLevelItemCount(); ++i)
      for (int r = 0; r < outline->topLevelItem(i)->childCount(); ++r) {
        QTreeWidgetItem* row = outline->topLevelItem(i)->child(r);
        if (row->checkState(kMark) == Qt::Checked) matches.push_back(row);
      }
    QVERIFY(!matches.empty());
    for (QTreeWidgetItem* row : matches) QVERIFY2(row->text(0).contains("jp", Qt::CaseInsensitive) ||
                                                  row->parent()->text(0).contains("jp", Qt::CaseInsensitive),
                                                  qPrintable(row->text(0)));
    QCOMPARE(c.sigSelArray.size(), matches.size());
    QCOMPARE(status->text(), matches.size() == 1 ? QString("1 entry found and marked")
                                                 : QString("%1 entries found and marked").arg(matches.size()));
    QVERIFY(window.control(WizardControl::kSignaturesNext)->isEnabled());
    QCOMPARE(outline->selectedItems(), QList<QTreeWidgetItem*>{matches.front()});
    QVERIFY(stepper->isEnabled());
    QCOMPARE(stepper->maximum(), static_cast<int>(matches.size()) - 1);
    if (matches.size() > 1) {
      QTest::keyClick(stepper, Qt::Key_Up);
      QCOMPARE(outline->selectedItems(), QList<QTreeWidgetItem*>{matches[1]});
      QVERIFY(matches[1]->parent()->isExpanded());
    }
    // A mark by hand clears the find's line.
    QVERIFY(clickCheckBox(outline, matches.front(), kMark));
    QCOMPARE(status->text(), QString());
    QVERIFY(clickButton(window, "Unmark All"));
    QCOMPARE(status->text(), QString("All unmarked"));
    QVERIFY(c.sigSelArray.empty());
  }

  // The range: sliders stay inside 0 to 100 %, show the share of the volume's size beside them, a
  // start not below the end is refused with the alert, and a good range reaches the volume.
  void rangeSlidersClampAndReachTheVolume() {
    MainWindow window;
    QStringList alerts;
    window.uiBridge().alertShown = [&](const Alert& alert) { alerts << QString::fromStdString(alert.title); };
    QVERIFY(enterSignatures(window));
    WizardController& c = window.controller();
    auto* outline = window.findChild<QTreeWidget*>("signatureOutline");
    QVERIFY(clickCheckBox(outline, outline->topLevelItem(0), kMark));
    clickCheckBox(qobject_cast<QCheckBox*>(window.control(WizardControl::kRawSearchBox)));
    QVERIFY(clickButton(window, "Next"));
    QCOMPARE(window.currentTab(), QString("Raw slider"));
    const QList<QSlider*> sliders = window.page("Raw slider")->findChildren<QSlider*>();
    QCOMPARE(sliders.size(), 2);
    QSlider* start = sliders[0];
    QSlider* end = sliders[1];
    QCOMPARE(c.startSliderValue(), 0.0f);
    QCOMPARE(c.endSliderValue(), 100.0f);

    const auto labelStartingWith = [&](const QString& prefix) {
      for (QLabel* label : window.page("Raw slider")->findChildren<QLabel*>())
        if (label->text().startsWith(prefix)) return true;
      return false;
    };
    // Past the ends the sliders stay at 0 and 100.
    QTest::mouseClick(start, Qt::LeftButton, {}, QPoint(4, start->height() / 2));
    QTest::keyClick(start, Qt::Key_End);
    QTest::keyClick(start, Qt::Key_Right);
    QCOMPARE(c.startSliderValue(), 100.0f);
    QVERIFY(labelStartingWith("100% "));
    QVERIFY(clickButton(window, "Start Scan"));
    QCOMPARE(alerts.value(alerts.size() - 1), QString("! Can not continue"));
    QCOMPARE(window.currentTab(), QString("Raw slider"));
    QVERIFY(!c.scanIsRunning);

    QTest::keyClick(start, Qt::Key_Home);
    QTest::keyClick(start, Qt::Key_Left);
    QCOMPARE(c.startSliderValue(), 0.0f);
    for (int i = 0; i < 10; ++i) QTest::keyClick(start, Qt::Key_PageUp);
    QTest::mouseClick(end, Qt::LeftButton, {}, QPoint(end->width() - 4, end->height() / 2));
    QTest::keyClick(end, Qt::Key_End);
    for (int i = 0; i < 10; ++i) QTest::keyClick(end, Qt::Key_PageDown);
    QCOMPARE(c.startSliderValue(), 10.0f);
    QCOMPARE(c.endSliderValue(), 90.0f);
    QVERIFY(labelStartingWith("10% "));
    QVERIFY(labelStartingWith("90% "));
    std::shared_ptr<Volume> volume = c.selectedVolume;
    QVERIFY(clickButton(window, "Start Scan"));
    QCOMPARE(volume->startPos, 10.0f);
    QCOMPARE(volume->endPos, 90.0f);
    QTRY_VERIFY_WITH_TIMEOUT(!c.scanIsRunning, 60000);
    QTRY_COMPARE_WITH_TIMEOUT(window.currentTab(), QString("Tree"), 10000);
  }

 private:
  // "Recover Files", advanced, the HFS+ volume of the demo disk: "Signatures" with its catalog.
  bool enterSignatures(MainWindow& window) {
    window.uiBridge().answerAutomatically(0);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window)) return false;
    window.addDiskImage(QString::fromStdString(image_));
    WizardController& c = window.controller();
    if (!clickButton(window, "Recover Files") || !clickButton(window, "Advanced Scan")) return false;
    const int row = rowWhere(c.drivesListRows(), [&](const DriveRow& r) {
      return r.path == image_ && r.isVolume && r.content.rfind("Apple", 0) == 0;
    });
    if (!clickListRow(window.findChild<QListWidget*>("drivesList"), row) || !clickButton(window, "Next")) return false;
    return window.currentTab() == "Signatures" && !c.sigRootArray.empty();
  }

  fs::path folder_;
  std::string image_;
};

}  // namespace nua::ui

QTEST_MAIN(nua::ui::SignaturesPageTest)
#include "signatures_page_test.moc"
