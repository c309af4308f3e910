// Saving from a real image file with known bytes at known extents; saved files are compared by
// SHA-256 with the bytes the extents hold.
#include "save/save_run.h"

#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <tuple>

#include "base/text.h"
#include "view/view_test_tree.h"

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
  Entry* file(Entry* parent, const std::u16string& name, std::uint64_t size,
               std::vector<std::pair<std::uint32_t, std::uint32_t>> extents) {
    Entry* dir = tree.file(parent, name, size);
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
  MediaReader source;
  TestTree tree;
  RecordingUiBridge ui;
  std::map<const Entry*, std::string> expected;
};

TEST_F(SaveRunTest, TheBlockLoopWritesExactlyTheFileForEveryExtentShape) {
  Entry* docs = tree.folder(tree.root, u"docs");
  const std::vector<Entry*> files{
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
  for (const Entry* f : files) {
    const fs::path saved = destination / "Root" / "docs" / toUtf8(shownNameOfDir(f));
    EXPECT_EQ(sha256(readFile(saved)), sha256(expected[f])) << saved;
  }
  EXPECT_EQ(files[3]->dataExt[0].blockCount, 3U);  // the single extent now covers just the size
  EXPECT_EQ(sha256(readFile(image)), imageHash);
}

TEST_F(SaveRunTest, SameNamesNeverOverwriteAndEmptyFilesAreCountedNotWritten) {
  Entry* a = file(tree.root, u"x.jpg", 100, {{1, 1}});
  Entry* b = file(tree.root, u"x.jpg", 200, {{2, 1}});
  Entry* c = file(tree.root, u"x.jpg", 300, {{3, 1}});
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
  Entry* docs = tree.folder(tree.root, u"docs");
  Entry* one = file(docs, u"one.txt", 10, {{5, 1}});
  file(tree.root, u"two.txt", 20, {{6, 1}});
  Entry* pic = file(docs, u"pic.png", 30, {{7, 1}});
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
  Entry* docs = tree.folder(tree.root, u"docs");
  Entry* a = file(docs, u"a.txt", 10, {{5, 1}});
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

// What a copy gives when the extents and the size disagree, or the source ends early: never a byte
// past the size, never bytes that are not there, and a failure whenever the file is not whole.
struct CopyCase {
  const char* name;
  std::uint64_t size;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> extents;
  std::uint64_t savedBytes;  // the length of the saved file: a prefix of the extents' bytes
  const char* failure;       // the start of the failure's reason, or "" when the file counts as saved
};

void PrintTo(const CopyCase& shape, std::ostream* out) { *out << shape.name; }

class SaveCopyTest : public SaveRunTest, public testing::WithParamInterface<CopyCase> {};

TEST_P(SaveCopyTest, WritesAtMostTheSizeAndCountsWhatIsShortAsFailed) {
  const CopyCase& c = GetParam();
  Entry* f = file(tree.root, u"f.bin", c.size, c.extents);
  TreeViewState view(tree.arena, tree.root);
  view.setMark(tree.root, true);
  const SaveReport report = save(view);
  const fs::path saved = destination / "Root" / "f.bin";
  ASSERT_TRUE(fs::exists(saved));
  std::string extentBytes;
  for (auto [start, count] : c.extents) {
    const std::uint64_t from = std::min<std::uint64_t>(start * kBlockBytes, imageBytes.size());
    extentBytes += imageBytes.substr(from, count * kBlockBytes);
  }
  EXPECT_EQ(sha256(readFile(saved)), sha256(extentBytes.substr(0, c.savedBytes)));
  EXPECT_EQ(fs::file_size(saved), c.savedBytes);
  EXPECT_EQ(report.saveCount, 1U);
  if (std::string(c.failure).empty()) {
    EXPECT_EQ(report.savedFiles, 1U);
    EXPECT_TRUE(report.failures.empty()) << report.failures[0].reason;
  } else {
    EXPECT_EQ(report.savedFiles, 0U);
    ASSERT_EQ(report.failures.size(), 1U);
    EXPECT_EQ(report.failures[0].path, "Root/f.bin");
    EXPECT_EQ(report.failures[0].reason.rfind(c.failure, 0), 0U) << report.failures[0].reason;
  }
  (void)f;
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, SaveCopyTest,
    testing::Values(
        // Two extents reaching past the size (a reused first cluster chained into a larger file).
        CopyCase{"ExtentsBeyondTheSize", 2 * kBlockBytes + 100, {{10, 4}, {20, 6}}, 2 * kBlockBytes + 100, ""},
        CopyCase{"SizeEndsInTheFirstOfManyExtents", 300, {{30, 8}, {50, 8}, {60, 1}}, 300, ""},
        // Extents that cover less than the size: what there is, and a failure.
        CopyCase{"ExtentsShortOfTheSize", 9 * kBlockBytes, {{10, 3}, {40, 2}}, 5 * kBlockBytes,
                 "incomplete, 5120 of 9216 bytes saved: its known extents end there"},
        CopyCase{"NoExtentAtAll", 500, {}, 0, "incomplete, 0 of 500 bytes saved: no location of its data is known"},
        // The image holds 200 blocks: a file running past its end keeps the bytes that are there.
        CopyCase{"SourceEndsInsideTheFile", 12 * kBlockBytes, {{190, 4}, {196, 8}}, 8 * kBlockBytes,
                 "incomplete, 8192 of 12288 bytes saved: the source ends at sector 400"},
        // A chunk that reaches past the source's end but not past the file's end of data is fine.
        CopyCase{"ChunkPastTheSourceEndBeyondTheFile", 2 * kBlockBytes + 10, {{195, 8}, {5, 1}}, 2 * kBlockBytes + 10,
                 ""}),
    [](const testing::TestParamInfo<CopyCase>& shape) { return std::string(shape.param.name); });

TEST_F(SaveRunTest, AnImageEndingInsideASectorKeepsTheFilesWhoseBytesAreAllThere) {
  fs::resize_file(image, imageBytes.size() - 300);  // the last sector holds 212 bytes
  Entry* whole = file(tree.root, u"whole.bin", kBlockBytes + 512 + 200, {{198, 1}, {199, 1}});
  Entry* cut = file(tree.root, u"cut.bin", kBlockBytes + 512 + 300, {{198, 1}, {199, 1}});
  TreeViewState view(tree.arena, tree.root);
  view.setMark(tree.root, true);
  const SaveReport report = save(view);
  EXPECT_EQ(readFile(destination / "Root" / "whole.bin"), expected[whole]);
  EXPECT_EQ(readFile(destination / "Root" / "cut.bin"), expected[cut].substr(0, kBlockBytes + 512 + 212));
  ASSERT_EQ(report.failures.size(), 1U);
  EXPECT_EQ(report.failures[0].reason, "incomplete, 1748 of 1836 bytes saved: the source ends at sector 399");
}

TEST_F(SaveRunTest, ADeletedFileWhoseBlocksALiveFileHoldsNowIsSavedToItsSizeButCountedFailed) {
  Entry* docs = tree.folder(tree.root, u"docs");
  Entry* live = file(docs, u"New video.bin", 6 * kBlockBytes, {{40, 3}, {50, 3}});
  Entry* reused = file(docs, u"Old report.txt", 2 * kBlockBytes + 512, {{40, 1}, {41, 1}, {42, 1}, {50, 3}});
  Entry* intact = file(docs, u"Old photo.jpg", 3 * kBlockBytes, {{60, 3}});
  Entry* edge = file(docs, u"Next to it.txt", kBlockBytes, {{43, 1}});
  for (Entry* d : {reused, intact, edge}) d->deleted = 1;
  docs->deleted = 1;
  tree.finish();
  TreeViewState view(tree.arena, tree.root);
  view.setMark(tree.root, true);
  view.prepareTree(TreeToggle::kDeleted);  // the live file is not in this view, its blocks still count
  const SaveReport report = save(view);
  EXPECT_EQ(report.saveCount, 3U);
  EXPECT_EQ(report.savedFiles, 2U);
  ASSERT_EQ(report.failures.size(), 1U);
  EXPECT_EQ(report.failures[0].path, "Root/docs/Old report.txt");
  EXPECT_EQ(report.failures[0].reason,
            "not its own data, 2560 of 2560 bytes saved: parts of it now belong to the live file \"New video.bin\"");
  EXPECT_EQ(readFile(destination / "Root" / "docs" / "Old report.txt"), expected[reused]);
  EXPECT_EQ(readFile(destination / "Root" / "docs" / "Old photo.jpg"), expected[intact]);
  EXPECT_EQ(readFile(destination / "Root" / "docs" / "Next to it.txt"), expected[edge]);
  EXPECT_FALSE(fs::exists(destination / "Root" / "docs" / "New video.bin"));
  (void)live;
}

TEST_F(SaveRunTest, SavedFilesAreReadAndWriteForTheOwnerAndFoldersOpenToAll) {
  file(tree.folder(tree.root, u"docs"), u"photo.jpg", 10, {{5, 1}});
  tree.finish();
  TreeViewState view(tree.arena, tree.root);
  view.setMark(tree.root, true);
  const mode_t previous = ::umask(0);
  save(view);
  ::umask(previous);
  struct stat info {};
  ASSERT_EQ(::stat((destination / "Root" / "docs" / "photo.jpg").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0644U);
  ASSERT_EQ(::stat((destination / "Root" / "docs").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0755U);
}

// Answers every question with the button given.
class AnsweringUiBridge : public RecordingUiBridge {
 public:
  explicit AnsweringUiBridge(int answer) : answer_(answer) {}
  int runAlertPanel(const Alert& alert) override {
    RecordingUiBridge::runAlertPanel(alert);
    return alert.buttons.size() > 1 ? answer_ : 0;
  }

 private:
  int answer_;
};

TEST_F(SaveRunTest, OnlyAFileSystemThatCannotKeepTheFilesBringsTheQuestionAndItNamesLinuxOnes) {
  file(tree.root, u"a.txt", 10, {{5, 1}});
  TreeViewState view(tree.arena, tree.root);
  view.setMark(tree.root, true);
  for (const auto& [mountType, magic, asked] : {std::tuple{"vfat", "0x4d44", true}, std::tuple{"exfat", "0x2011bab0", true},
                                                std::tuple{"ext4", "0xef53", false}, std::tuple{"xfs", "0x58465342", false}}) {
    AnsweringUiBridge cancel(1);
    SaveRun run(source, view, cancel);
    run.setDestinationProbe([&, type = magic, mount = mountType](const std::string& path) {
      DestinationFacts facts = probeDestination(path);
      facts.type = type;
      facts.mountType = mount;
      return facts;
    });
    ASSERT_TRUE(run.checkDestination(destination.string()));
    EXPECT_EQ(run.asksAboutFileSystem(), asked) << mountType;
    EXPECT_EQ(run.canSaveSlashes, 0);
    const SaveReport report = run.saveFilesAndFolders(destination.string());
    EXPECT_EQ(report.started, !asked) << mountType;
    if (asked) {
      const Alert& question = cancel.alerts.front();
      EXPECT_EQ(question.title, "Information");
      EXPECT_EQ(question.buttons, (std::vector<std::string>{"OK", "Cancel"}));
      EXPECT_EQ(question.text.rfind("It is highly recommended to save data on a Linux native filesystem. The volume "
                                    "chosen for saving data has a " +
                                        std::string(mountType == std::string("vfat") ? "FAT" : "exFAT") + " filesystem",
                                    0),
                0U)
          << question.text;
      EXPECT_NE(question.text.find("\"ext4\", \"XFS\" or \"Btrfs\""), std::string::npos);
      EXPECT_EQ(question.text.find("Mac OS"), std::string::npos);
    } else {
      EXPECT_EQ(cancel.alerts.front().title, "Saving Completed");
    }
  }
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
