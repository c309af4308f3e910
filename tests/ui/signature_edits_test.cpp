// The edits of "Signatures", clicked as a person does, against the user's data files in a
// directory of the test's own: "Load File Types" retrying the main file and then the backup, a size
// typed into the outline and found in the file, and the add sheet refusing each wrong field with its
// text before it adds a type that "Remove File Type" takes away again.
#include "signatures_page.h"

#include <unistd.h>

#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QTest>
#include <QTreeWidget>
#include <filesystem>
#include <fstream>

#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "main_window.h"
#include "signature/sig.h"
#include "signature/sig_data_store.h"
#include "window_driver.h"

namespace nua::ui {
namespace {

namespace fs = std::filesystem;
using namespace nua::ui::testing;

// The fields of the add sheet and the text that must refuse them.
struct AddCase {
  const char* category;
  const char* software;
  const char* extension;
  const char* header;
  const char* offset;
  const char* size;
  const char* refusal;
};

QTreeWidgetItem* rowNamed(QTreeWidget* outline, const QString& text) {
  const QList<QTreeWidgetItem*> found = outline->findItems(text, Qt::MatchExactly | Qt::MatchRecursive, 0);
  return found.size() == 1 ? found.front() : nullptr;
}

void type(QWidget* field, const char* text) {
  if (auto* edit = qobject_cast<QLineEdit*>(field)) edit->clear();
  if (auto* box = qobject_cast<QComboBox*>(field)) box->clearEditText();
  QTest::keyClicks(field, text);
}

}  // namespace

class SignatureEditsTest : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() {
    folder_ = fs::temp_directory_path() / ("nua-ui-sigedits-" + std::to_string(::getpid()));
    fs::create_directories(folder_);
    const imagekit::Scenario* demo = imagekit::findScenario("demo");
    QVERIFY(demo != nullptr);
    std::string error;
    imagekit::Manifest manifest;
    image_ = (folder_ / "demo.img").string();
    QVERIFY2(demo->make(image_, {}, manifest, error), error.c_str());
  }
  void init() {
    // Each case starts with a user who has no data files of their own yet.
    const fs::path data = folder_ / QTest::currentTestFunction();
    fs::remove_all(data);
    qputenv("XDG_DATA_HOME", QByteArray::fromStdString(data.string()));
    userDir_ = data / "nua-recovery";
  }
  void cleanupTestCase() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  void loadFileTypesTriesTheBackupOnTheSecondClick() {
    writeGarbage("Sig_FR");
    writeGarbage("Sig_FR_backup");
    MainWindow window;
    QVERIFY(enterSignatures(window, "Recover Files"));
    auto* outline = window.findChild<QTreeWidget*>("signatureOutline");
    QCOMPARE(outline->topLevelItemCount(), 1);
    QCOMPARE(outline->topLevelItem(0)->text(0), QString("No file types shown here? Click on \"Load File Types\" button"));
    QVERIFY(!buttonOnScreen(window, "Mark All")->isEnabled());
    QVERIFY(clickButton(window, "Load File Types"));
    QCOMPARE(outline->topLevelItem(0)->text(0),
             QString("Still no file types showing here. Click on \"Load File Types\" button to reload backup."));
    QVERIFY(clickButton(window, "Load File Types"));
    QCOMPARE(outline->topLevelItemCount(), 1);
    QCOMPARE(outline->topLevelItem(0)->text(0), QString("Still no file types showing here. Contact support."));
    // A readable backup (the shipped one, once the damaged copy is gone) fills the outline.
    fs::remove(userDir_ / "Sig_FR_backup.dat");
    QVERIFY(clickButton(window, "Load File Types"));
    QVERIFY(outline->topLevelItemCount() > 1);
    QVERIFY(!buttonOnScreen(window, "Load File Types")->isEnabled());
    QVERIFY(buttonOnScreen(window, "Mark All")->isEnabled());
  }

  void sizeTypedInTheOutlineIsSaved() {
    MainWindow window;
    QVERIFY(enterSignatures(window, "Recover Files"));
    auto* outline = window.findChild<QTreeWidget*>("signatureOutline");
    QTreeWidgetItem* row = outline->topLevelItem(0)->child(0);
    outline->expandItem(row->parent());
    const QString name = row->text(0);
    outline->scrollToItem(row);
    const QRect cell = outline->visualRect(outline->indexFromItem(row, SignaturesPage::kSizeColumn));
    // A double click as the system delivers it: a click, then the second press as a double click.
    QTest::mouseClick(outline->viewport(), Qt::LeftButton, {}, cell.center());
    QTest::mouseDClick(outline->viewport(), Qt::LeftButton, {}, cell.center());
    QLineEdit* editor = nullptr;
    QTRY_VERIFY((editor = outline->viewport()->findChild<QLineEdit*>()) != nullptr && editor->isVisible());
    editor->selectAll();
    QTest::keyClicks(editor, "123");
    QTest::keyClick(editor, Qt::Key_Return);
    // The editor hands its text over once control is back in the event loop.
    QTRY_COMPARE(rowNamed(outline, name)->text(SignaturesPage::kSizeColumn), QString("123"));

    SigDataStore store(SigDataPaths{userDir_, {}});
    const auto saved = store.read("Sig_FR");
    QVERIFY2(saved.ok(), saved.reason.c_str());
    bool found = false;
    for (const auto& category : *saved.root)
      for (const auto& child : *category->children)
        if (QString("%1 (%2)").arg(QString::fromStdString(child->sig->software),
                                   QString::fromStdString(child->sig->extension)) == name)
          found = child->sig->userSize == 123;
    QVERIFY(found);
  }

  void addSheetRefusesEachWrongFieldThenAddsAndRemoves() {
    MainWindow window;
    QStringList alerts;
    window.uiBridge().alertShown = [&](const Alert& alert) {
      alerts << QString::fromStdString(alert.title) + ": " + QString::fromStdString(alert.text);
    };
    // "Formatted / Reformatted Recovery" is a goal that offers custom file types.
    QVERIFY(enterSignatures(window, "Recover Partitions", "Formatted"));
    WizardController& c = window.controller();
    auto* outline = window.findChild<QTreeWidget*>("signatureOutline");
    const SigNode& shipped = *(*c.sigRootArray.front()->children).front();
    const std::string shippedCategory = c.sigRootArray.front()->category;
    char shippedHeader[17] = {};
    for (int i = 0; i < shipped.sig->headerLength; ++i)
      std::snprintf(shippedHeader + 2 * i, 3, "%02X",
                    static_cast<unsigned>((shipped.sig->header >> (8 * (shipped.sig->headerLength - 1 - i))) & 0xFF));
    const std::string shippedOffset = std::to_string(shipped.sig->offset);

    QVERIFY(clickButton(window, "Add File Type"));
    auto* sheet = window.findChild<QDialog*>("addFileTypeSheet");
    QVERIFY(sheet != nullptr && sheet->isVisible());
    const AddCase cases[] = {
        {"", "My Movie", "mcm", "FE ED 01", "7", "20", "Category cannot be nil"},
        {"Mine", "", "mcm", "FE ED 01", "7", "20", "File Type Name cannot be nil"},
        {"Mine", "My Movie", "", "FE ED 01", "7", "20", "Extension cannot be nil"},
        {"Mine", "My Movie", "mcm", "", "7", "20", "Signature cannot be nil"},
        {"Mine", "My Movie", "mcm", "FE ED 01", "", "20", "Offset cannot be nil"},
        {"Mine", "My Movie", "mcm", "FE ED 01", "7", "50001", "Maximum File Size to recover has to be in range of 1 to 50000."},
        {"Mine", "My Movie", "mcm", "FE ED 01", "7", "0", "Maximum File Size to recover cannot be nil"},
        {"Mine", "My Movie", ".mcm", "FE ED 01", "7", "20", "Please remove dot \".\" from the beginning of the extension"},
        {"Mine", "My Movie", "mcm", "FE EG 01", "7", "20", "Please enter correct signature: A-F, a-f, 0-9"},
        {"Mine", "My Movie", "mcm", "FE ED 0", "7", "20", "Incorrect signature: enter even number of characters"},
        {"Mine", "My Movie", "mcm", "01 02 03 04 05 06 07 08 09", "7", "20", "Incorrect signature: enter only a maximum of 8 bytes"},
        {"Mine", "My Movie", "mcm", "FE ED 01", "12a", "20", "Please enter numeric value in offset"},
        {"Mine", "My Movie", "mcm", "FE ED 01", "1025", "20", "Offset cannot be more then 1024"},
        {shippedCategory.c_str(), shipped.sig->software.c_str(), "mcm", "FE ED 01", "7", "20", nullptr},
        {"Mine", "My Movie", "mcm", shippedHeader, shippedOffset.c_str(), "20", nullptr},
    };
    const QString duplicateName = QString("!Error: File Type \"%1\" under category \"%2\" already exists. Please enter different names")
                                      .arg(QString::fromStdString(shipped.sig->software), QString::fromStdString(shippedCategory));
    for (const AddCase& step : cases) {
      fillSheet(*sheet, step);
      const int before = static_cast<int>(alerts.size());
      QTest::mouseClick(sheet->findChild<QPushButton*>("addSigOK"), Qt::LeftButton);
      QCOMPARE(static_cast<int>(alerts.size()), before + 1);
      if (step.refusal != nullptr) {
        QCOMPARE(alerts.back(), QString("!Error: ") + step.refusal);
      } else if (&step == &cases[13]) {
        QCOMPARE(alerts.back(), duplicateName);
      } else {
        QVERIFY2(alerts.back().startsWith("!Error: This signature/offset pair already exists in file type \""),
                 qPrintable(alerts.back()));
      }
      QVERIFY(sheet->isVisible());
    }
    const std::size_t categories = c.sigRootArray.size();
    fillSheet(*sheet, {"Mine", "My Movie", "mcm", "fe ed 01", "1024", "20", nullptr});
    QTest::mouseClick(sheet->findChild<QPushButton*>("addSigOK"), Qt::LeftButton);
    QVERIFY(!sheet->isVisible());
    QCOMPARE(c.sigRootArray.size(), categories + 1);
    QTreeWidgetItem* added = rowNamed(outline, "My Movie (mcm)");
    QVERIFY(added != nullptr);
    QCOMPARE(added->parent()->text(0), QString("Mine"));
    QCOMPARE(added->checkState(SignaturesPage::kMarkColumn), Qt::Unchecked);
    QCOMPARE(added->text(SignaturesPage::kSizeColumn), QString("20"));
    QCOMPARE(readUserFile("Sig_AL").size(), categories + 1);
    QCOMPARE(readUserFile("Sig_AL_backup").size(), categories + 1);

    // A shipped row can't be removed; the added one can.
    QPushButton* remove = buttonOnScreen(window, "Remove File Type");
    QVERIFY(remove != nullptr);
    selectRow(outline, outline->topLevelItem(0)->child(0));
    QVERIFY(!remove->isEnabled());
    selectRow(outline, rowNamed(outline, "My Movie (mcm)"));
    QVERIFY(remove->isEnabled());
    QTest::mouseClick(remove, Qt::LeftButton);
    QVERIFY(rowNamed(outline, "My Movie (mcm)") == nullptr);
    QCOMPARE(rowNamed(outline, "Mine")->childCount(), 0);
    const auto mainFile = readUserFile("Sig_AL");
    QCOMPARE(mainFile.size(), categories + 1);
    QVERIFY(!mainFile.back()->children || mainFile.back()->children->empty());
  }

 private:
  bool enterSignatures(MainWindow& window, const QString& goal, const QString& mode = "Advanced Scan") {
    window.uiBridge().answerAutomatically(0);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window)) return false;
    window.addDiskImage(QString::fromStdString(image_));
    WizardController& c = window.controller();
    if (!clickButton(window, goal) || !clickButton(window, mode)) return false;
    const int row = rowWhere(c.drivesListRows(), [&](const DriveRow& r) {
      return r.path == image_ && r.isVolume && r.content.rfind("Apple", 0) == 0;
    });
    if (!clickListRow(window.findChild<QListWidget*>("drivesList"), row) || !clickButton(window, "Next")) return false;
    return window.currentTab() == "Signatures";
  }
  void writeGarbage(const std::string& name) {
    fs::create_directories(userDir_);
    std::ofstream(userDir_ / (name + ".dat"), std::ios::binary) << "not a catalog";
  }
  SigRootArray readUserFile(const std::string& name) {
    SigDataStore store(SigDataPaths{userDir_, {}});
    auto read = store.read(name);
    return read.ok() ? *read.root : SigRootArray{};
  }
  static void fillSheet(QDialog& sheet, const AddCase& step) {
    type(sheet.findChild<QComboBox*>("addSigCategory"), step.category);
    type(sheet.findChild<QLineEdit*>("addSigSoftware"), step.software);
    type(sheet.findChild<QLineEdit*>("addSigExtension"), step.extension);
    type(sheet.findChild<QLineEdit*>("addSigHeader"), step.header);
    type(sheet.findChild<QLineEdit*>("addSigOffset"), step.offset);
    type(sheet.findChild<QLineEdit*>("addSigSize"), step.size);
  }
  static void selectRow(QTreeWidget* outline, QTreeWidgetItem* row) {
    outline->expandItem(row->parent());
    outline->scrollToItem(row);
    const QRect name = outline->visualRect(outline->indexFromItem(row, SignaturesPage::kFileTypesColumn));
    QTest::mouseClick(outline->viewport(), Qt::LeftButton, {}, name.center());
  }

  fs::path folder_;
  fs::path userDir_;
  std::string image_;
};

}  // namespace nua::ui

QTEST_MAIN(nua::ui::SignatureEditsTest)
#include "signature_edits_test.moc"
