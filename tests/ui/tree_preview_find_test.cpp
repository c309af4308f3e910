// The preview window and the find field of the tree screen on a scanned kit image, driven by clicks
// and keys: a JPEG, garbage under a JPEG name, a built camera RAW file and an MP3 with a cover, then
// find's steps, marks and a view switch.
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTest>
#include <QTreeView>
#include <fstream>

#include "app/wizard_controller.h"
#include "app/wizard_view.h"
#include "hfs/hfs_test_support.h"
#include "hfs/hfs_volume.h"
#include "hfs/normal_catalog_scan.h"
#include "imagekit/demo_scenarios.h"
#include "picture/raw_file_builder.h"
#include "tree/find_bar.h"
#include "tree/preview_window.h"
#include "tree/record_tree_model.h"
#include "tree/tree_page.h"

namespace nua::ui {
namespace {

class NoLauncher : public ScanLauncher {
 public:
  void detach(ScanEntry, std::shared_ptr<Volume>, ScanArguments) override {}
  void detachVolumeScan(std::shared_ptr<MediaReader>) override {}
};

std::shared_ptr<Volume> scanImage(const testing::KitImage& image) {
  std::shared_ptr<Volume> volume = testing::openAsPartition(image.path, image.manifest.imageBytes);
  volume->resetSigArraysAndBtreesAndOthers();
  HfsVolume hfs(*volume, ProgressSink::none());
  if (hfs.initializeVIB() && hfs.checkCatalogAndExtentsFile()) makeTree(hfs);
  volume->finishTree(ProgressSink::none());
  return volume;
}

std::vector<std::byte> demoJpeg() { return imagekit::demoPhotoBytes({"x.jpg", 160, 120, 0, false}, 7); }

}  // namespace

class TreePreviewFindTest : public QObject {
  Q_OBJECT

 private:
  testing::KitImage image_;
  NullWizardView view_;
  RecordingUiBridge ui_;
  NoLauncher launcher_;
  std::unique_ptr<WizardController> controller_;
  std::unique_ptr<TreePage> page_;

  Entry* record(const std::string& path) {
    return const_cast<Entry*>(testing::entriesByPath(controller_->selectedVolume->dirRoot).at(path));
  }
  // Writes bytes over the start of a file's data in the image, where the preview will read them.
  void writeOverFile(const std::string& path, const std::vector<std::byte>& bytes) {
    const Entry* dir = record(path);
    const Volume& volume = *controller_->selectedVolume;
    const std::uint64_t sector =
        volume.HPlusVolStart + dir->blockBaseSector + std::uint64_t{dir->dataExt.at(0).startBlock} * dir->sectorsPerBlock;
    QVERIFY(bytes.size() <= dir->fileSize);
    std::fstream image(image_.path, std::ios::in | std::ios::out | std::ios::binary);
    image.seekp(static_cast<std::streamoff>(sector * static_cast<std::uint64_t>(volume.u32BytesInSector)));
    image.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  void clickRow(const std::string& path) {
    QTreeView* outline = page_->outlineViewData();
    outline->expandAll();
    const QModelIndex index = page_->model()->indexOfRecord(record(path), RecordTreeModel::kFiles);
    QVERIFY(index.isValid());
    outline->scrollTo(index);
    QTest::mouseClick(outline->viewport(), Qt::LeftButton, {}, outline->visualRect(index).center());
  }
  // "View File" on the selected row; waits for what the worker sends back.
  void clickViewFile() {
    QVERIFY(page_->previewButton()->isEnabled());
    QSignalSpy shown(page_->previewWindow(), &PreviewWindow::previewShown);
    QTest::mouseClick(page_->previewButton(), Qt::LeftButton);
    QVERIFY(shown.wait(20000));
  }
  void search(const QString& text) {
    FindBar* find = page_->findBar();
    QSignalSpy done(find, &FindBar::searchFinished);
    find->findField()->clear();
    QTest::keyClicks(find->findField(), text);
    QTest::keyClick(find->findField(), Qt::Key_Return);
    QVERIFY(done.wait(20000));
  }
  Entry* selectedRecord() {
    return RecordTreeModel::recordOf(page_->outlineViewData()->selectionModel()->currentIndex());
  }

 private slots:
  void init() {
    image_ = testing::makeKitImage("hfs-basic");
    QVERIFY2(image_.error.empty(), image_.error.c_str());
    controller_ = std::make_unique<WizardController>(view_, ui_, launcher_, MediaSources{});
    controller_->selectedVolume = scanImage(image_);
    QVERIFY(controller_->selectedVolume->dirRoot != nullptr);
    page_ = std::make_unique<TreePage>(*controller_, ui_);
    page_->resize(1000, 500);
    page_->show();
    QVERIFY(QTest::qWaitForWindowExposed(page_.get()));
  }

  void cleanup() {
    page_.reset();
    controller_.reset();
  }

  void previewShowsAJpegAndFallsBackToTextOnGarbage() {
    page_->showResult();
    clickRow("Photos/holiday.jpg");
    // The first preview of an unsaved result brings the advice; the recording bridge answers "Go Back".
    const std::size_t alertsBefore = ui_.alerts.size();
    QTest::mouseClick(page_->previewButton(), Qt::LeftButton);
    QCOMPARE(ui_.alerts.size(), alertsBefore + 1);
    QCOMPARE(QString::fromStdString(ui_.alerts.back().buttons.at(0)), QString("Go Back"));
    QVERIFY(!page_->previewWindow()->isVisible());

    clickViewFile();  // the kit's pattern bytes are no JPEG: the first block as text
    PreviewWindow* preview = page_->previewWindow();
    QCOMPARE(ui_.alerts.size(), alertsBefore + 1);
    QCOMPARE(preview->currentTabName(), QString("Text"));
    QCOMPARE(preview->previewFileName(), QString("holiday.jpg"));
    QCOMPARE(preview->previewText().size(), 4095);  // one block less its last byte
    QVERIFY(preview->previewText().contains('.'));

    const std::vector<std::byte> jpeg = demoJpeg();
    writeOverFile("Photos/holiday.jpg", jpeg);
    clickViewFile();
    QCOMPARE(preview->currentTabName(), QString("Image"));
    QCOMPARE(preview->imageName(), QString("image"));
    QCOMPARE(preview->shownImage().size(), QSize(160, 120));
    const QModelIndex row = page_->model()->indexOfRecord(record("Photos/holiday.jpg"), RecordTreeModel::kFiles);
    QCOMPARE(row.data(Qt::ToolTipRole).toString(), QString("holiday.jpg\nPreview showing"));

    // While the window is open a new selection previews at once; a folder shows its name only.
    QSignalSpy shown(preview, &PreviewWindow::previewShown);
    clickRow("readme.txt");
    QVERIFY(shown.wait(20000));
    QCOMPARE(preview->currentTabName(), QString("Text"));
    QCOMPARE(preview->previewText(), QString("Nua test volume.."));  // the newline is a dot too
    clickRow("Documents");
    QVERIFY(shown.wait(20000));
    QCOMPARE(preview->previewFileName(), QString("Documents"));
    QCOMPARE(preview->imageName(), QString(""));
    preview->close();  // the title bar's close: the window empties and the count of requests is 0
    QVERIFY(!preview->isVisible());
    QCOMPARE(preview->gate().numPreviewAttempts(), 0);
    QCOMPARE(row.data(Qt::ToolTipRole).toString(), QString("holiday.jpg\nDouble click to preview"));
  }

  void previewShowsTheEmbeddedJpegOfABuiltRawFile() {
    // The kit's holiday.jpg becomes a camera RAW file: its name and its bytes.
    Entry* dir = record("Photos/holiday.jpg");
    writeOverFile("Photos/holiday.jpg", testing_picture::RawFileBuilder::build(demoJpeg()));
    controller_->selectedVolume->arena->setFileName(u"holiday.dng", dir);
    page_->showResult();
    clickRow("Photos/holiday.dng");
    QTest::mouseClick(page_->previewButton(), Qt::LeftButton);  // the advice, answered "Go Back"
    clickViewFile();
    PreviewWindow* preview = page_->previewWindow();
    QCOMPARE(preview->currentTabName(), QString("Image"));
    QCOMPARE(preview->imageName(), QString("image"));
    QCOMPARE(preview->shownImage().size(), QSize(160, 120));
  }

  void previewOfAnMp3ShowsItsCoverAndNeedsAMediaBackendToPlay() {
    // An ID3v2.3 tag with a cover picture, over the kit's file renamed to song.mp3.
    const std::vector<std::byte> jpeg = demoJpeg();
    std::vector<std::byte> tag;
    auto put = [&tag](std::string_view text) {
      for (char c : text) tag.push_back(static_cast<std::byte>(c));
    };
    const std::uint32_t frameSize = static_cast<std::uint32_t>(1 + 11 + 1 + 1 + jpeg.size());
    const std::uint32_t tagSize = 10 + frameSize;
    put("ID3");
    put(std::string("\x03\x00\x00", 3));
    for (int shift = 21; shift >= 0; shift -= 7) tag.push_back(static_cast<std::byte>((tagSize >> shift) & 0x7F));
    put("APIC");
    for (int shift = 24; shift >= 0; shift -= 8) tag.push_back(static_cast<std::byte>((frameSize >> shift) & 0xFF));
    put(std::string("\x00\x00\x00", 3));
    put(std::string("image/jpeg\x00\x03\x00", 13));
    tag.insert(tag.end(), jpeg.begin(), jpeg.end());
    Entry* dir = record("Photos/holiday.jpg");
    writeOverFile("Photos/holiday.jpg", tag);
    controller_->selectedVolume->arena->setFileName(u"song.mp3", dir);
    page_->showResult();
    clickRow("Photos/song.mp3");
    QTest::mouseClick(page_->previewButton(), Qt::LeftButton);
    clickViewFile();
    PreviewWindow* preview = page_->previewWindow();
    QVERIFY(preview->posterShown());
    QCOMPARE(preview->movieSizeLoaded(), QString("Loaded 100.00 %"));
    if (PreviewWindow::mediaBackendAvailable()) QSKIP("a media backend is present: playing is not checked here");
    QCOMPARE(preview->movieStatus(), QString("!Error: could not initialize"));
    QCOMPARE(preview->imageName(), QString("preview-failed"));
  }

  void findStepsRoundBothEndsMarksAllAndAViewSwitchClearsTheHits() {
    page_->showResult();
    FindBar* find = page_->findBar();
    QVERIFY(!find->nextButton()->isEnabled());
    search("TXT");
    QCOMPARE(find->findTextField(), QString("5 Matches Found"));
    const std::vector<Entry*> hits = find->treeFind().findArray();
    QCOMPARE(hits.size(), std::size_t{5});
    QVERIFY(find->nextButton()->isEnabled() && find->markAllButton()->isEnabled());
    QVERIFY(!find->unmarkAllButton()->isEnabled());

    QTest::mouseClick(find->nextButton(), Qt::LeftButton);
    QCOMPARE(selectedRecord(), hits[0]);
    QCOMPARE(find->findTextFieldSelectedIndex(), QString("1/5 highlighted"));
    QTest::mouseClick(find->nextButton(), Qt::LeftButton);
    QCOMPARE(selectedRecord(), hits[1]);
    QTest::mouseClick(find->prevButton(), Qt::LeftButton);
    QCOMPARE(selectedRecord(), hits[0]);
    QTest::mouseClick(find->prevButton(), Qt::LeftButton);  // before the first comes the last
    QCOMPARE(selectedRecord(), hits[4]);
    QCOMPARE(find->findTextFieldSelectedIndex(), QString("5/5 highlighted"));
    QTest::mouseClick(find->nextButton(), Qt::LeftButton);  // and after the last the first
    QCOMPARE(selectedRecord(), hits[0]);
    // The hit three folders down was expanded to and scrolled into view.
    const QModelIndex deep = page_->model()->indexOfRecord(record("Documents/Projects/Archive/notes.txt"));
    QVERIFY(page_->outlineViewData()->isExpanded(deep.parent()));

    QTest::mouseClick(find->markAllButton(), Qt::LeftButton);
    for (Entry* hit : hits) QCOMPARE(hit->selected, 1);
    QCOMPARE(record("Documents/Projects")->selected, 1);
    QVERIFY(!find->markAllButton()->isEnabled() && find->unmarkAllButton()->isEnabled());
    QVERIFY(page_->textFieldMarkedData().endsWith("in 5 Files"));
    QVERIFY(page_->saveButton()->isEnabled());
    QTest::mouseClick(find->unmarkAllButton(), Qt::LeftButton);
    QCOMPARE(controller_->selectedVolume->dirRoot->selected, 0);

    QSignalSpy switched(page_.get(), &TreePage::treePrepared);
    QTest::mouseClick(page_->buttonTreeFileTypesToggle(), Qt::LeftButton);
    QVERIFY(switched.wait(20000));
    QCOMPARE(find->findTextField(), QString(" "));
    QVERIFY(find->treeFind().findArray().empty());
    QVERIFY(!find->nextButton()->isEnabled() && !find->markAllButton()->isEnabled());
    search("txt");  // in the file types view the folder "txt" matches too
    QCOMPARE(find->findTextField(), QString("6 Matches Found"));
    search("");
    QCOMPARE(find->findTextField(), QString("0 Matches Found"));
  }
};

}  // namespace nua::ui

QTEST_MAIN(nua::ui::TreePreviewFindTest)
#include "tree_preview_find_test.moc"
