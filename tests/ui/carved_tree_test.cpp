// Finds of a signature search in the tree screen: the folders and numbered names the registrar gives
// them show in the data view and in the file types view, with their sizes and the file icon every
// other file gets.
#include "tree/tree_page.h"

#include <QApplication>
#include <QPushButton>
#include <QSignalSpy>
#include <QStyle>
#include <QTest>
#include <QTreeView>

#include "app/wizard_controller.h"
#include "app/wizard_view.h"
#include "base/text.h"
#include "filecheck/jpg_file_check.h"
#include "records/entry_ops.h"
#include "signature/carved_entry_registrar.h"
#include "signature/sig.h"
#include "tree/record_tree_model.h"
#include "volume/volume.h"

namespace nua::ui {
namespace {

class NoLauncher : public ScanLauncher {
 public:
  void detach(ScanEntry, std::shared_ptr<Volume>, ScanArguments) override {}
  void detachVolumeScan(std::shared_ptr<MediaReader>) override {}
};

// A whole-disk search's result: two JPEGs and a PNG found by the signature tables, a JPEG found by its
// file check, and a JPEG preview inside a camera RAW file.
std::shared_ptr<Volume> carvedVolume() {
  std::shared_ptr<Volume> volume = Volume::initWithDictionary(Dict{{"WhetherVolume", false}, {"Path", "/dev/x"}}, {});
  volume->dirRoot = makeRootDir(*volume->arena, volume->tables.btree.get());
  volume->maxFileID = kFirstFreeFileID;
  CarvedEntryRegistrar registrar(
      CarvedRegistrarSetup{volume->arena.get(), volume->dirRoot, &volume->maxFileID, nullptr, 512, 1ULL << 30, false});
  FormatContext context;
  const auto find = [&](const char* extension, std::uint64_t foundSize, std::uint64_t sector) {
    Sig row;
    row.extension = extension;
    row.foundSize = foundSize;
    registrar.addSignatureFind({sector, sector}, row, context);
  };
  find("jpg", 5000, 100);
  find("png", 700, 200);
  find("jpg", 2500000, 300);
  MemorySectorSource source{std::vector<std::byte>(4096), 512};
  FileCheckScanState state;
  JpgFileCheck jpg(source, state);
  registrar.addFileCheckFind({350, 350}, jpg, 3000);
  registrar.addRawJpgFind({400, 400}, 37, 4096);
  volume->finishTree(ProgressSink::none());
  return volume;
}

}  // namespace

class CarvedTreeTest : public QObject {
  Q_OBJECT

 private:
  NullWizardView view_;
  RecordingUiBridge ui_;
  NoLauncher launcher_;

  // The rows below a row of the model, by the text of their "Files" column.
  static std::map<QString, QModelIndex> childrenByName(const QAbstractItemModel& model, const QModelIndex& parent) {
    std::map<QString, QModelIndex> rows;
    for (int r = 0; r < model.rowCount(parent); ++r) {
      const QModelIndex index = model.index(r, 0, parent);
      rows[index.siblingAtColumn(RecordTreeModel::kFiles).data().toString()] = index;
    }
    return rows;
  }
  static QString sizeOf(const QModelIndex& index) { return index.siblingAtColumn(RecordTreeModel::kSize).data().toString(); }
  static bool hasFileIcon(const QModelIndex& index) {
    const QIcon icon = index.siblingAtColumn(RecordTreeModel::kFiles).data(Qt::DecorationRole).value<QIcon>();
    const QIcon file = QApplication::style()->standardIcon(QStyle::SP_FileIcon);
    return !icon.isNull() && icon.pixmap(16).toImage() == file.pixmap(16).toImage();
  }

 private slots:
  void carvedFindsShowInBothViews() {
    WizardController controller(view_, ui_, launcher_, MediaSources{});
    controller.selectedVolume = carvedVolume();
    TreePage page(controller, ui_);
    page.resize(900, 500);
    page.show();
    QVERIFY(QTest::qWaitForWindowExposed(&page));
    page.showResult();
    const RecordTreeModel& model = *page.model();
    const QModelIndex root = model.index(0, 0);
    QCOMPARE(root.siblingAtColumn(RecordTreeModel::kFiles).data().toString(), QString("Root"));

    // Data view: a folder per extension or format, numbered names, the sizes the checks gave.
    auto folders = childrenByName(model, root);
    for (const char* folder : {"jpg files", "png files", "JPG Files", "RAW Jpg Files"}) QVERIFY2(folders.count(folder), folder);
    auto jpgs = childrenByName(model, folders["jpg files"]);
    QCOMPARE(jpgs.size(), std::size_t{2});
    QVERIFY(jpgs.count("File1.jpg") && jpgs.count("File2.jpg"));
    QCOMPARE(sizeOf(jpgs["File1.jpg"]), QString::fromStdString(sizeText(5000)));
    QCOMPARE(sizeOf(jpgs["File2.jpg"]), QString::fromStdString(sizeText(2500000)));
    QVERIFY(hasFileIcon(jpgs["File1.jpg"]));
    auto checked = childrenByName(model, folders["JPG Files"]);
    QVERIFY(checked.count("file1.jpg"));
    QCOMPARE(sizeOf(checked["file1.jpg"]), QString::fromStdString(sizeText(3000)));
    auto previews = childrenByName(model, folders["RAW Jpg Files"]);
    QVERIFY(previews.count("file - Raw Jpg1.jpg"));
    QCOMPARE(sizeOf(previews["file - Raw Jpg1.jpg"]), QString::fromStdString(sizeText(4096)));

    // File types view: the JPEG finds of both routes under "jpg", the PNG under "png".
    QSignalSpy prepared(&page, &TreePage::treePrepared);
    page.buttonTreeFileTypesToggle()->click();
    QVERIFY(prepared.wait(20000));
    const QModelIndex typesRoot = model.index(0, 0);
    std::map<QString, QModelIndex> byType;
    for (const auto& [name, index] : childrenByName(model, typesRoot)) byType[name.section(' ', 0, 0)] = index;
    QVERIFY(byType.count("jpg") && byType.count("png"));
    auto typeJpgs = childrenByName(model, byType["jpg"]);
    QCOMPARE(typeJpgs.size(), std::size_t{4});
    for (const char* file : {"File1.jpg", "File2.jpg", "file1.jpg", "file - Raw Jpg1.jpg"}) QVERIFY2(typeJpgs.count(file), file);
    QCOMPARE(sizeOf(typeJpgs["File2.jpg"]), QString::fromStdString(sizeText(2500000)));
    QVERIFY(hasFileIcon(typeJpgs["file - Raw Jpg1.jpg"]));
    auto typePngs = childrenByName(model, byType["png"]);
    QVERIFY(typePngs.count("File1.png"));
    QCOMPARE(sizeOf(typePngs["File1.png"]), QString::fromStdString(sizeText(700)));
  }
};

}  // namespace nua::ui

QTEST_MAIN(nua::ui::CarvedTreeTest)
#include "carved_tree_test.moc"
