// The tree screen on a scanned kit image: the outline's model under Qt's model tester, marks made
// through the check boxes against CheckController's, view switches, and files saved through the
// page compared with the manifest.
#include "tree/tree_page.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QHeaderView>
#include <QPushButton>
#include <QSignalSpy>
#include <QStyle>
#include <QStyleOptionViewItem>
#include <QTest>
#include <QTreeView>
#include <filesystem>
#include <fstream>
#include <map>

#include "app/wizard_controller.h"
#include "app/wizard_view.h"
#include "hfs/hfs_test_support.h"
#include "hfs/hfs_volume.h"
#include "hfs/normal_catalog_scan.h"
#include "hfs/orphan_entries.h"
#include "imagekit/manifest.h"
#include "tree/record_tree_model.h"
#include "view/check_controller.h"
#include "view/view_test_tree.h"

namespace nua::ui {
namespace {

namespace fs = std::filesystem;

class NoLauncher : public ScanLauncher {
 public:
  void detach(ScanEntry, std::shared_ptr<Volume>, ScanArguments) override {}
  void detachVolumeScan(std::shared_ptr<MediaReader>) override {}
};

// The normal scan of an HFS+ kit image, as its scan thread runs it.
std::shared_ptr<Volume> scanImage(const testing::KitImage& image) {
  std::shared_ptr<Volume> volume = testing::openAsPartition(image.path, image.manifest.imageBytes);
  volume->resetSigArraysAndBtreesAndOthers();
  HfsVolume hfs(*volume, ProgressSink::none());
  if (hfs.initializeVIB() && hfs.checkCatalogAndExtentsFile()) {
    makeTree(hfs);
    if (volume->counters.orphEntriesTotal != 0) processOrphanEntriesWithIncrement(*volume, ProgressSink::none(), false, false);
  }
  volume->finishTree(ProgressSink::none());
  return volume;
}

// Path below the root of every record of a tree, and its mark.
std::map<std::string, int> marksByPath(const Entry* root) {
  std::map<std::string, int> marks;
  for (const auto& [path, dir] : testing::entriesByPath(root)) marks[path] = dir->selected;
  return marks;
}

std::string readAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace

class TreePageTest : public QObject {
  Q_OBJECT

 private:
  testing::KitImage image_;
  NullWizardView view_;
  RecordingUiBridge ui_;
  NoLauncher launcher_;
  std::unique_ptr<WizardController> controller_;
  std::unique_ptr<TreePage> page_;

  RecordTreeModel& model() { return *page_->model(); }
  // The index of an entry by its path below the root, expanding nothing.
  QModelIndex indexOf(const std::string& path, int column = RecordTreeModel::kFiles) {
    const auto entries = testing::entriesByPath(page_->viewState()->dirRootTemp());
    const auto found = entries.find(path);
    if (found == entries.end()) return {};
    return model().indexOfRecord(const_cast<Entry*>(found->second), column);
  }
  // A click on the row's check box in the outline, where the style draws it.
  void clickCheckBox(const QModelIndex& index) {
    QTreeView* outline = page_->outlineViewData();
    const QModelIndex mark = index.siblingAtColumn(RecordTreeModel::kMark);
    outline->scrollTo(mark);
    QStyleOptionViewItem option;
    option.initFrom(outline);
    option.rect = outline->visualRect(mark);
    option.features |= QStyleOptionViewItem::HasCheckIndicator;
    const QRect box = outline->style()->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, outline);
    QTest::mouseClick(outline->viewport(), Qt::LeftButton, {}, box.center());
  }
  void toggle(QPushButton* button) {
    QSignalSpy done(page_.get(), &TreePage::treePrepared);
    button->click();
    QVERIFY(done.wait(20000));
  }

 private slots:
  void initTestCase() {
    image_ = testing::makeKitImage("hfs-basic");
    QVERIFY2(image_.error.empty(), image_.error.c_str());
  }

  void init() {
    controller_ = std::make_unique<WizardController>(view_, ui_, launcher_, MediaSources{});
    controller_->selectedVolume = scanImage(image_);
    QVERIFY(controller_->selectedVolume->dirRoot != nullptr);
    page_ = std::make_unique<TreePage>(*controller_, ui_);
    page_->resize(900, 500);
    page_->show();
    QVERIFY(QTest::qWaitForWindowExposed(page_.get()));
    page_->showResult();
  }

  void cleanup() {
    page_.reset();
    controller_.reset();
  }

  void modelPassesTheModelTesterInEveryView() {
    QAbstractItemModelTester tester(page_->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    page_->outlineViewData()->expandAll();
    QCOMPARE(model().rowCount(), 1);
    QCOMPARE(model().index(0, RecordTreeModel::kFiles).data().toString(), QString("Root"));
    QCOMPARE(model().headerData(RecordTreeModel::kFilesCount, Qt::Horizontal).toString(), QString("Files Count"));
    toggle(page_->buttonTreeFileTypesToggle());
    page_->outlineViewData()->expandAll();
    toggle(page_->buttonTreeShowDeleted());
    page_->outlineViewData()->expandAll();
    toggle(page_->buttonTreeFileTypesToggle());
    page_->outlineViewData()->expandAll();
    toggle(page_->buttonTreeShowDeleted());
    QCOMPARE(page_->buttonTreeFileTypesToggle()->text(), QString("File Types View"));
  }

  void checkBoxesMarkWhatCheckControllerMarks() {
    std::string file, folder;
    for (const auto& [path, dir] : testing::entriesByPath(controller_->selectedVolume->dirRoot)) {
      if (dir->fileType == 2 && file.empty() && path.find('/') != std::string::npos) file = path;
    }
    for (const auto& [path, dir] : testing::entriesByPath(controller_->selectedVolume->dirRoot)) {
      if (dir->fileType == 1 && !dir->childList.empty() && folder.empty() && file.rfind(path + "/", 0) != 0) folder = path;
    }
    QVERIFY(!file.empty() && !folder.empty());
    page_->outlineViewData()->expandAll();
    clickCheckBox(indexOf(file));
    clickCheckBox(indexOf(folder));
    // A folder above the file shows the mixed state when it has other entries.
    const std::string above = file.substr(0, file.rfind('/'));
    const QModelIndex aboveMark = indexOf(above, RecordTreeModel::kMark);
    const int childCount = model().rowCount(aboveMark.siblingAtColumn(0));
    QCOMPARE(aboveMark.data(Qt::CheckStateRole).toInt(), childCount > 1 ? int(Qt::PartiallyChecked) : int(Qt::Checked));
    clickCheckBox(indexOf(folder));  // and off again
    clickCheckBox(indexOf(file.substr(0, file.find('/'))));

    // The same clicks straight through CheckController on a second scan of the same image.
    std::shared_ptr<Volume> twin = scanImage(image_);
    TreeViewState twinView(twin->arena, twin->dirRoot);
    const auto twinEntries = testing::entriesByPath(twin->dirRoot);
    const auto at = [&](const std::string& path) { return const_cast<Entry*>(twinEntries.at(path)); };
    CheckController(at(file), 1).run();
    CheckController(at(folder), 1).run();
    CheckController(at(folder), 0).run();
    CheckController(at(file.substr(0, file.find('/'))), 1).run();
    QVERIFY(marksByPath(controller_->selectedVolume->dirRoot) == marksByPath(twin->dirRoot));
    QCOMPARE(controller_->selectedVolume->dirRoot->selected, twin->dirRoot->selected);
    QVERIFY(page_->saveButton()->isEnabled());
    twinView.countMarkedDataAndFiles();
    QCOMPARE(page_->textFieldMarkedData(), QString::fromStdString(twinView.textFieldMarkedData()));
  }

  void markingIsRefusedWhileSavingRuns() {
    const std::size_t before = ui_.alerts.size();
    page_->setScanInfoOrSavingNotProcessing(false);
    QVERIFY(!model().setData(model().index(0, RecordTreeModel::kMark), Qt::Checked, Qt::CheckStateRole));
    QCOMPARE(ui_.alerts.size(), before + 1);
    QCOMPARE(QString::fromStdString(ui_.alerts.back().title), QString("Process Running"));
    QCOMPARE(controller_->selectedVolume->dirRoot->selected, 0);
  }

  void switchingViewsKeepsMarks() {
    const auto& entries = image_.manifest.volumes.at(0).entries;
    std::vector<std::string> files;
    for (const auto& e : entries)
      if (!e.deleted && !e.folder && !e.path.empty() && files.size() < 2) files.push_back(e.path);
    QCOMPARE(files.size(), std::size_t{2});
    for (const std::string& path : files)
      QVERIFY(model().setData(indexOf(path, RecordTreeModel::kMark), Qt::Checked, Qt::CheckStateRole));
    const QString marked = page_->textFieldMarkedData();
    const auto before = marksByPath(controller_->selectedVolume->dirRoot);
    toggle(page_->buttonTreeFileTypesToggle());
    QCOMPARE(page_->buttonTreeFileTypesToggle()->text(), QString("Data  View"));
    QCOMPARE(QString::fromStdString(controller_->fileTypesToggleTitle), QString("Data  View"));
    QCOMPARE(controller_->dirRootTemp, page_->viewState()->dirRootTemp());
    QCOMPARE(page_->textFieldMarkedData(), marked);
    toggle(page_->buttonTreeShowDeleted());
    QCOMPARE(page_->buttonTreeShowDeleted()->text(), QString("Show  All"));
    toggle(page_->buttonTreeShowDeleted());
    toggle(page_->buttonTreeFileTypesToggle());
    QCOMPARE(page_->textFieldMarkedData(), marked);
    for (const std::string& path : files) QCOMPARE(testing::entriesByPath(controller_->selectedVolume->dirRoot).at(path)->selected, 1);
    // Files keep their marks; folders take the mark of their last descendant after a switch.
    const auto after = marksByPath(controller_->selectedVolume->dirRoot);
    for (const auto& e : entries)
      if (!e.folder && !e.deleted && !e.path.empty()) QCOMPARE(after.at(e.path), before.at(e.path));
  }

  void savedFilesMatchTheManifest() {
    const fs::path out = fs::temp_directory_path() / ("nua-ui-tree-save-" + std::to_string(::getpid()));
    fs::create_directories(out);
    page_->chooseFolder = [&] { return std::optional<QString>(QString::fromStdString(out.string())); };
    QVERIFY(model().setData(model().index(0, RecordTreeModel::kMark), Qt::Checked, Qt::CheckStateRole));
    QVERIFY(page_->saveButton()->isEnabled());
    QSignalSpy finished(page_.get(), &TreePage::savingFinished);
    page_->saveButton()->click();
    QVERIFY(finished.count() == 1 || finished.wait(60000));
    const SaveReport& report = page_->lastSaveReport();
    QVERIFY(report.started);
    QVERIFY(!report.aborted);
    QCOMPARE(report.failedCount, 0U);
    QCOMPARE(QString::fromStdString(ui_.alerts.back().title), QString("Saving Completed"));
    std::size_t compared = 0;
    for (const auto& e : image_.manifest.volumes.at(0).entries) {
      if (e.deleted || e.folder || e.path.empty()) continue;
      const fs::path saved = out / "Root" / e.path;
      if (e.size == 0) {
        QVERIFY2(!fs::exists(saved), e.path.c_str());  // a file of size 0 is not created
        continue;
      }
      const std::string bytes = readAll(saved);
      QCOMPARE(imagekit::sha256Hex(std::as_bytes(std::span(bytes.data(), bytes.size()))), e.sha256);
      ++compared;
    }
    QVERIFY(compared > 0);
    QVERIFY(page_->scanInfoOrSavingNotProcessing());
    QVERIFY(page_->buttonTreeBackToPartitions()->isEnabled());
    QVERIFY(page_->textFieldSavedData().startsWith("Saved: "));
    fs::remove_all(out);
  }

  void rowsThatAreNotDrawnGetNoHelper() {
    testing_view::TestTree tree;
    Entry* wide = tree.folder(tree.root, u"wide");
    for (int i = 0; i < 20000; ++i) tree.file(wide, u"f" + std::u16string(1, u'a' + i % 26) + u".txt", 10);
    tree.finish();
    auto volume = std::make_shared<Volume>();
    volume->arena = tree.arena;
    volume->dirRoot = tree.root;
    page_->releaseResult();
    controller_->selectedVolume = volume;
    page_->showResult();
    QTreeView* outline = page_->outlineViewData();
    outline->expand(model().indexOfRecord(wide));
    QApplication::processEvents();
    QCOMPARE(model().rowCount(model().indexOfRecord(wide)), 20000);
    QVERIFY(wide->childList[10000]->viewHelper == nullptr);
    outline->scrollToBottom();
    outline->viewport()->repaint();
    QVERIFY(wide->childList.back()->viewHelper != nullptr);
    QVERIFY(wide->childList[10000]->viewHelper == nullptr);
    // Marking the wide folder changes every row below it, in one refresh of the rows drawn.
    QSignalSpy changed(page_->model(), &QAbstractItemModel::dataChanged);
    QVERIFY(model().setData(model().indexOfRecord(wide, RecordTreeModel::kMark), Qt::Checked, Qt::CheckStateRole));
    QVERIFY(changed.count() <= 4);
    QCOMPARE(page_->textFieldMarkedData(), QString("200.00 KB in 20000 Files"));
    page_->releaseResult();
  }
};

}  // namespace nua::ui

QTEST_MAIN(nua::ui::TreePageTest)
#include "tree_page_test.moc"
