// "Signatures" marked by its check boxes, clicked and keyed as a person does: the outline changes its
// rows in place while Qt handles the click, the count text and Next follow every mark.
#include "signatures_page.h"

#include <unistd.h>

#include <QLabel>
#include <QTest>
#include <QTreeWidget>
#include <filesystem>

#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "main_window.h"
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

  // "Recover Files", advanced, the HFS+ volume of the demo disk: each click on a box changes the
  // marks, the count text and Next, and the program lives on.
  void checkBoxesMarkAndUnmark() {
    MainWindow window;
    window.uiBridge().answerAutomatically(0);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    window.addDiskImage(QString::fromStdString(image_));
    WizardController& c = window.controller();
    QVERIFY(clickButton(window, "Recover Files"));
    QVERIFY(clickButton(window, "Advanced Scan"));
    QCOMPARE(window.currentTab(), QString("Drives List"));
    const int row = rowWhere(c.drivesListRows(), [&](const DriveRow& r) {
      return r.path == image_ && r.isVolume && r.content.rfind("Apple", 0) == 0;
    });
    QVERIFY(clickListRow(window.findChild<QListWidget*>("drivesList"), row));
    QVERIFY(clickButton(window, "Next"));
    QCOMPARE(window.currentTab(), QString("Signatures"));

    auto* outline = window.findChild<QTreeWidget*>("signatureOutline");
    auto* count = window.findChild<QLabel*>("signatureCount");
    QVERIFY(outline != nullptr && count != nullptr);
    QVERIFY(outline->topLevelItemCount() > 0);
    QWidget* next = window.control(WizardControl::kSignaturesNext);
    QVERIFY(!next->isEnabled());
    const QString unmarked = count->text();
    QVERIFY2(unmarked.startsWith("0 of "), qPrintable(unmarked));

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
      QVERIFY2(clickCheckBox(outline, target), step.what);
      const int marked = step.markedAfter < 0 ? types : step.markedAfter;
      QVERIFY2(c.sigSelArray.size() == static_cast<std::size_t>(marked), step.what);
      QVERIFY2(count->text().startsWith(QString("%1 of ").arg(marked)), qPrintable(count->text()));
      QVERIFY2(next->isEnabled() == (marked > 0), step.what);
      const Qt::CheckState categoryState = marked == 0 ? Qt::Unchecked : marked == types ? Qt::Checked : Qt::PartiallyChecked;
      QVERIFY2(outline->topLevelItem(0)->checkState(0) == categoryState, step.what);
      QVERIFY2(outline->topLevelItem(0)->child(0)->checkState(0) == (step.firstTypeMarked ? Qt::Checked : Qt::Unchecked),
               step.what);
      if (categoryState == Qt::PartiallyChecked) screenshot(window, "signatures-partly-marked");
    }
    QCOMPARE(count->text(), unmarked);

    // Mark one again and go on: Next starts the scan, which ends on "Tree".
    QVERIFY(clickCheckBox(outline, outline->topLevelItem(0)->child(0)));
    QVERIFY(clickButton(window, "Next"));
    QTRY_VERIFY_WITH_TIMEOUT(!c.scanIsRunning, 60000);
    QTRY_COMPARE_WITH_TIMEOUT(window.currentTab(), QString("Tree"), 10000);
  }

 private:
  fs::path folder_;
  std::string image_;
};

}  // namespace nua::ui

QTEST_MAIN(nua::ui::SignaturesPageTest)
#include "signatures_page_test.moc"
