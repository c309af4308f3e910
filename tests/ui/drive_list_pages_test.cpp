// The list screens chosen from as a person does: Next is off on entry, and the first row enables it
// whether it became current by a click or by the keys, in every mode's drive list and in the
// partition list.
#include "drive_list_pages.h"

#include <unistd.h>

#include <QListWidget>
#include <QTest>
#include <filesystem>

#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "main_window.h"
#include "window_driver.h"

namespace nua::ui {

namespace fs = std::filesystem;
using namespace nua::ui::testing;

class DriveListPagesTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    folder_ = fs::temp_directory_path() / ("nua-ui-lists-" + std::to_string(::getpid()));
    fs::create_directories(folder_);
    qputenv("XDG_DATA_HOME", QByteArray::fromStdString((folder_ / "data").string()));
    const imagekit::Scenario* demo = imagekit::findScenario("demo");
    QVERIFY(demo != nullptr);
    std::string error;
    imagekit::Manifest manifest;
    image_ = QString::fromStdString((folder_ / "demo.img").string());
    QVERIFY2(demo->make(image_.toStdString(), {}, manifest, error), error.c_str());
  }
  void cleanupTestCase() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  void firstRowEnablesNext_data() {
    QTest::addColumn<QString>("goal");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<bool>("byKeys");
    const std::pair<const char*, const char*> modes[] = {
        {"Recover Files", "Fast Scan"},           {"Recover Files", "Advanced Scan"},
        {"Recover Photos", "Fast Scan"},          {"Recover Photos", "Advanced Scan"},
        {"Recover Partitions", "Partition Recovery"}, {"Recover Partitions", "Formatted"}};
    for (const auto& [goal, mode] : modes)
      for (bool byKeys : {false, true})
        QTest::addRow("%s, %s, %s", goal, mode, byKeys ? "keys" : "click") << goal << mode << byKeys;
  }

  // Each mode's drive list: Next off on entry; the first row, clicked or reached by the keys, turns
  // it on.
  void firstRowEnablesNext() {
    QFETCH(QString, goal);
    QFETCH(QString, mode);
    QFETCH(bool, byKeys);
    MainWindow window({image_});
    window.uiBridge().answerAutomatically(0);
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QVERIFY(clickButton(window, goal));
    QVERIFY(clickButton(window, mode));
    QCOMPARE(window.currentTab(), QString("Drives List"));
    auto* list = window.findChild<QListWidget*>("drivesList");
    QVERIFY(list->count() > 0);
    QWidget* next = window.control(WizardControl::kDrivesListNext);
    QVERIFY(!next->isEnabled());
    QVERIFY(list->selectedItems().isEmpty());

    if (byKeys) {
      // Tab away from the list and back into it: the focus coming in makes the first row current.
      list->setFocus(Qt::TabFocusReason);
      QTest::keyClick(list, Qt::Key_Tab);
      QVERIFY(!list->hasFocus());
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab, Qt::ShiftModifier);
      QVERIFY(list->hasFocus());
      QCOMPARE(list->currentRow(), 0);
      QVERIFY(next->isEnabled());
      QVERIFY(list->item(0)->isSelected());  // the row Next stands for is shown chosen
      screenshot(window, QString("drives-list-first-row-by-focus-%1-%2").arg(goal, mode).replace(' ', '-'));
      if (list->count() > 1) {
        QTest::keyClick(list, Qt::Key_Down);
        QCOMPARE(list->currentRow(), 1);
        QVERIFY(next->isEnabled());
        QTest::keyClick(list, Qt::Key_Up);
        QCOMPARE(list->currentRow(), 0);
        QVERIFY(next->isEnabled());
      }
    } else {
      QVERIFY(clickListRow(list, 0));
      QCOMPARE(list->currentRow(), 0);
      QVERIFY(next->isEnabled());
      screenshot(window, QString("drives-list-first-row-clicked-%1-%2").arg(goal, mode).replace(' ', '-'));
      // Ctrl+click takes the row back: nothing is chosen, so Next is off again.
      QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::ControlModifier,
                        list->visualItemRect(list->item(0)).center());
      QVERIFY(list->selectedItems().isEmpty());
      QVERIFY(!next->isEnabled());
      QVERIFY(clickListRow(list, 0));
      QVERIFY(next->isEnabled());
    }

    // Back and in again: the list is built anew with nothing chosen, and Next is off until a row is.
    QVERIFY(clickButton(window, "Back"));
    QVERIFY(clickButton(window, mode));
    QCOMPARE(window.currentTab(), QString("Drives List"));
    QVERIFY(!next->isEnabled());
    QVERIFY(clickListRow(list, 0));
    QVERIFY(next->isEnabled());
  }

  // The partition list of the demo disk: the same rule, reached through the drive list by clicks.
  void partitionListFirstRowEnablesNext() {
    MainWindow window({image_});
    window.uiBridge().answerAutomatically(0);
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    WizardController& c = window.controller();
    QVERIFY(clickButton(window, "Recover Partitions"));
    QVERIFY(clickButton(window, "Partition Recovery"));
    const int disk =
        rowWhere(c.drivesListRows(), [&](const DriveRow& row) { return row.path == image_.toStdString(); });
    QVERIFY(clickListRow(window.findChild<QListWidget*>("drivesList"), disk));
    QVERIFY(clickButton(window, "Next"));
    QCOMPARE(window.currentTab(), QString("PT list"));
    auto* list = window.findChild<QListWidget*>("ptList");
    QWidget* next = window.control(WizardControl::kPTListNext);
    QVERIFY(list->count() > 0);
    QVERIFY(!next->isEnabled());
    QVERIFY(clickListRow(list, 0));
    QVERIFY(next->isEnabled());
    QVERIFY(clickButton(window, "Next"));
    QCOMPARE(window.currentTab(), QString("Tree scan mode"));
  }

 private:
  fs::path folder_;
  QString image_;
};

}  // namespace nua::ui

QTEST_MAIN(nua::ui::DriveListPagesTest)
#include "drive_list_pages_test.moc"
