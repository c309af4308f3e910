// Saving from a real image file with known bytes at known extents; saved files are compared by
// SHA-256 with the bytes the extents hold.
#include "view/save_run.h"

#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "base/text.h"
#include "view_test_tree.h"

namespace nua {
namespace {

namespace fs = std::filesystem;
using testing_view::TestTree;

constexpr std::uint64_t kBlockBytes = 1024;  // two sectors of 512
constexpr std::uint64_t kImageBlocks = 200;

std::string sha256(const std::string& bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr);
  return std::string(reinterpret_cast<const char*>(digest), length);
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

class SaveRunTest : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/nua-view-save-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    work = pattern;
    image = work / "source.img";
    std::mt19937 random(42);
    imageBytes.resize(kImageBlocks * kBlockBytes);
    for (char& c : imageBytes) c = static_cast<char>(random());
    std::ofstream(image, std::ios::binary).write(imageBytes.data(), static_cast<std::streamsize>(imageBytes.size()));
    source.initWithDictionary(
        Dict{{"Path", image.string()}, {"Preferred Block Size", 512}, {"Size", static_cast<std::uint64_t>(imageBytes.size())}},
        MediaContext{});
    destination = work / "out";
    fs::create_directory(destination);
  }
  void TearDown() override { fs::remove_all(work); }

  // A file whose content is its extents' blocks of the image, cut at size.
  NewDir* file(NewDir* parent, const std::u16string& name, std::uint64_t size,
               std::vector<std::pair<std::uint32_t, std::uint32_t>> extents) {
    NewDir* dir = tree.file(parent, name, size);
    dir->sectorsPerBlock = 2;
    std::string content;
    for (auto [start, count] : extents) {
      addDataExtStartBlock(start, count, dir);
      content += imageBytes.substr(start * kBlockBytes, count * kBlockBytes);
    }
    expected[dir] = content.substr(0, size);
    return dir;
  }

  SaveReport save(TreeViewState& view) {
    SaveRun run(source, view, ui);
    EXPECT_TRUE(run.saveData(false));
    EXPECT_TRUE(run.checkDestination(destination.string()));
    return run.saveFilesAndFolders(destination.string());
  }

  fs::path work, image, destination;
  std::string imageBytes;
  DMedia source;
  TestTree tree;
  RecordingUiBridge ui;
  std::map<const NewDir*, std::string> expected;
};

TEST_F(SaveRunTest, TheBlockLoopWritesExactlyTheFileForEveryExtentShape) {
  NewDir* docs = tree.folder(tree.root, u"docs");
  const std::vector<NewDir*> files{
      file(docs, u"eight.bin", 7 * kBlockBytes + 100, {{10, 8}}),
      file(docs, u"nine.bin", 8 * kBlockBytes + 1, {{20, 9}}),
      file(docs, u"three-five.bin", 7 * kBlockBytes + 500, {{40, 3}, {50, 5}}),
      file(docs, u"wrong-count.bin", 2 * kBlockBytes + 512, {{60, 40}}),
      file(docs, u"spread.bin", 42 * kBlockBytes + 7, {{100, 10}, {70, 17}, {130, 16}}),
  };
  tree.finish();
  const std::string imageHash = sha256(readFile(image));
  TreeViewState view(tree.arena, tree.root);
  view.setMark(tree.root, true);
  const SaveReport report = save(view);
  EXPECT_EQ(report.saveCount, 5U);
  EXPECT_EQ(report.savedFiles, 5U);
  EXPECT_TRUE(report.failures.empty());
  EXPECT_EQ(report.finalAlert.title, "Saving Completed");
  EXPECT_EQ(report.finalAlert.text, "Saved at: " + destination.string());
  for (const NewDir* f : files) {
    const fs::path saved = destination / "Root" / "docs" / toUtf8(shownNameOfDir(f));
    EXPECT_EQ(sha256(readFile(saved)), sha256(expected[f])) << saved;
  }
  EXPECT_EQ(files[3]->dataExt[0].blockCount, 3U);  // the single extent now covers just the size
  EXPECT_EQ(sha256(readFile(image)), imageHash);
}

TEST_F(SaveRunTest, SameNamesNeverOverwriteAndEmptyFilesAreCountedNotWritten) {
  NewDir* a = file(tree.root, u"x.jpg", 100, {{1, 1}});
  NewDir* b = file(tree.root, u"x.jpg", 200, {{2, 1}});
  NewDir* c = file(tree.root, u"x.jpg", 300, {{3, 1}});
  file(tree.root, u"empty", 0, {});
  file(tree.root, u"a/b", 50, {{4, 1}});
  TreeViewState view(tree.arena, tree.root);
  view.setMark(tree.root, true);
  const SaveReport report = save(view);
  EXPECT_EQ(report.saveCount, 5U);
  const fs::path root = destination / "Root";
  EXPECT_EQ(readFile(root / "x.jpg"), expected[a]);
  EXPECT_EQ(readFile(root / "x_.jpg"), expected[b]);
  EXPECT_EQ(readFile(root / "x__.jpg"), expected[c]);
  EXPECT_FALSE(fs::exists(root / "empty"));
  EXPECT_EQ(readFile(root / "a_b"), expected[tree.root->childList[4]]);  // not an HFS destination
}

TEST_F(SaveRunTest, TheFileTypesViewSavesOneFolderPerExtensionWithItsCount) {
  NewDir* docs = tree.folder(tree.root, u"docs");
  NewDir* one = file(docs, u"one.txt", 10, {{5, 1}});
  file(tree.root, u"two.txt", 20, {{6, 1}});
  NewDir* pic = file(docs, u"pic.png", 30, {{7, 1}});
  tree.finish();
  TreeViewState view(tree.arena, tree.root);
  view.setMark(one, true);
  view.setMark(pic, true);
  view.prepareTree(TreeToggle::kFileTypes);
  save(view);
  EXPECT_EQ(readFile(destination / "Root" / "txt [2]" / "one.txt"), expected[one]);
  EXPECT_FALSE(fs::exists(destination / "Root" / "txt [2]" / "two.txt"));
  EXPECT_EQ(readFile(destination / "Root" / "png [1]" / "pic.png"), expected[pic]);
}

TEST_F(SaveRunTest, AFileMarkedBeforeSwitchingBackAndForthIsSavedWithItsDate) {
  NewDir* docs = tree.folder(tree.root, u"docs");
  NewDir* a = file(docs, u"a.txt", 10, {{5, 1}});
  file(docs, u"z.txt", 20, {{6, 1}});
  a->modDate = 3786912000;  // 2024-01-01 00:00:00 GMT
  tree.finish();
  TreeViewState view(tree.arena, tree.root);
  view.setMark(a, true);
  view.prepareTree(TreeToggle::kFileTypes);
  view.prepareTree(TreeToggle::kDeleted);
  view.prepareTree(TreeToggle::kDeleted);
  view.prepareTree(TreeToggle::kFileTypes);
  const SaveReport report = save(view);
  EXPECT_EQ(report.saveCount, 1U);
  const fs::path saved = destination / "Root" / "docs" / "a.txt";
  EXPECT_EQ(readFile(saved), expected[a]);
  struct stat info {};
  ASSERT_EQ(::stat(saved.c_str(), &info), 0);
  EXPECT_EQ(info.st_mtime, 1704067200);
}

TEST_F(SaveRunTest, TheSourceDeviceIsRefusedAndBesideTheImageIsFine) {
  file(tree.root, u"a.txt", 10, {{5, 1}});
  TreeViewState view(tree.arena, tree.root);
  view.setMark(tree.root, true);
  struct stat info {};
  ASSERT_EQ(::stat(destination.c_str(), &info), 0);
  SaveRun refused(source, view, ui);
  refused.setSourceIdentity({true, true, info.st_dev, 0, ""});  // pretend the source is the disk holding it
  EXPECT_FALSE(refused.checkDestination(destination.string()));
  EXPECT_EQ(ui.alerts.back().title, "! Can not save");
  SaveRun beside(source, view, ui);
  EXPECT_TRUE(beside.checkDestination(work.string()));  // the folder holding the image
  EXPECT_EQ(beside.saveFilesAndFolders(work.string()).savedFiles, 1U);
  EXPECT_TRUE(fs::exists(work / "Root" / "a.txt"));
}

TEST_F(SaveRunTest, UnreadableFilesAreCountedAndTheRunGoesOn) {
  source.path = work.string();  // a folder: every read fails
  file(tree.root, u"a.txt", 10, {{5, 1}});
  file(tree.root, u"b.txt", 10, {{6, 1}});
  file(tree.root, u"c.txt", 10, {{7, 1}});
  TreeViewState view(tree.arena, tree.root);
  view.setMark(tree.root, true);
  const SaveReport report = save(view);
  EXPECT_EQ(report.saveCount, 3U);
  EXPECT_EQ(report.savedFiles, 0U);
  ASSERT_EQ(report.failures.size(), 3U);
  EXPECT_EQ(report.failures[2].path, "Root/c.txt");
  EXPECT_EQ(report.failures[2].reason, "incomplete, 0 of 10 bytes saved: the source could not be read at sector 14");
  EXPECT_EQ(report.finalAlert.title, "Saving Completed");
  EXPECT_NE(report.finalAlert.text.find("3 files"), std::string::npos);
}

class AbortingSink : public SaveProgressSink {
 public:
  void updateTreeProgress(std::uint64_t) override { run->abortDataSaving(); }
  void elapsedTime(const std::string&) override {}
  SaveRun* run = nullptr;
};

TEST_F(SaveRunTest, AnAbortStopsTheRunAndSaysSo) {
  file(tree.root, u"a.txt", 20 * kBlockBytes, {{5, 20}});
  file(tree.root, u"b.txt", 10, {{6, 1}});
  TreeViewState view(tree.arena, tree.root);
  view.setMark(tree.root, true);
  SaveRun run(source, view, ui);
  AbortingSink sink;
  sink.run = &run;
  run.setProgressSink(&sink);
  ASSERT_TRUE(run.checkDestination(destination.string()));
  const SaveReport report = run.saveFilesAndFolders(destination.string());
  EXPECT_TRUE(report.aborted);
  EXPECT_EQ(report.finalAlert.title, "Saving Aborted");
  EXPECT_EQ(fs::file_size(destination / "Root" / "a.txt"), 8 * kBlockBytes);  // the first chunk only
  EXPECT_FALSE(fs::exists(destination / "Root" / "b.txt"));
}

}  // namespace
}  // namespace nua
