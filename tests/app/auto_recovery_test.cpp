// The controller's crash recovery on a pair written in code: the wizard replayed from it (volume,
// modes, partitions, extensions, known-file keys, done lists, the tree with the appended finds) and the
// search started again exactly at the saved position; the pair kept around the next search, and
// damaged or unwritable pairs.
#include "app/wizard_controller.h"
#include "recording_scan_launcher.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "base/text.h"
#include "records/entry_arena.h"
#include "records/entry_ops.h"
#include "signature/sig.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

std::vector<std::shared_ptr<SigNode>> catalog() {
  auto images = std::make_shared<SigNode>();
  images->fileTypeSigNode = SigNode::kCategoryNode;
  for (const char* ext : {"jpg", "png", "cr2"}) {
    auto node = std::make_shared<SigNode>();
    node->fileTypeSigNode = SigNode::kFileTypeNode;
    node->sig = std::make_shared<Sig>();
    node->sig->extension = ext;
    images->addChild(node);
  }
  return {images};
}

std::string nameOf(const Entry* dir) { return toUtf8(EntryArena::fileNameOfDir(dir).value_or(u"")); }

const Entry* childNamed(const Entry* dir, const std::string& name) {
  for (const Entry* child : dir->childList)
    if (nameOf(child) == name) return child;
  return nullptr;
}

// A whole-disk photo search of /dev/sdz interrupted at sector 4321: the pair as its start wrote it,
// then the finds it appended before the process ended.
struct InterruptedSearch {
  fs::path folder = fs::temp_directory_path() / ("nua-auto-recovery-" + std::to_string(::getpid()));
  RecoveryPairPaths paths = RecoveryPairPaths::inFolder(folder.string());
  Volume volume;
  std::shared_ptr<EntryArena> arena = std::make_shared<EntryArena>();
  Entry* root = makeRootDir(*arena, nullptr);
  CountedKeyTable knownFiles;

  InterruptedSearch() {
    fs::remove_all(folder);
    fs::create_directories(folder);
    volume.volumeScanType = 3;
    volume.path = "/dev/sdz";
    volume.model = "Kingston";
    volume.u32BytesInSector = 512;
    volume.sizeInSect = 1'000'000;
    volume.maxFileID = 9;
    volume.startPos = 10.0F;
    volume.endPos = 90.0F;
    for (std::uint64_t key : {40u, 900u}) knownFiles.insert({key, 0});
    RecoveryPairState state;
    state.selectedVolume = &volume;
    state.mainScanStatus = "Searching for music, video and photos from Kingston";
    state.treeScanMode = -1;
    state.scanMode = 3;
    state.rawSearchMode = 3;
    state.signatureExtensions = {"jpg", "cr2", "gone"};
    state.btreeFirstFileBlock = &knownFiles;
    state.mp3DoneArray = {11, 12};
    state.mpgDoneArray = {5};
    state.dirRoot = root;
    const RecoveryPairWriteResult written = saveScanInfoAutoRecovery(paths, state);
    EXPECT_TRUE(written.ok) << written.error;

    // As the search registers them: the folder is written with its first find already counted.
    RecoveryRecordAppender appender(paths.recoveryFile);
    RecoveryResumePosition position(paths.infoFile, &appender);
    Entry* folder = add(root, u"JPG Files", 1, 0);
    folder->childrenCount = folder->fileCount = 1;
    folder->fileSize = 4096;
    appender.writeEntry(*folder);
    appender.writeEntry(*add(folder, u"file1.jpg", 2, 4096));
    appender.writeEntry(*add(folder, u"file2.jpg", 2, 8192));
    appender.synchronise();
    position.savePosition(4321);
  }
  ~InterruptedSearch() { fs::remove_all(folder); }

  Entry* add(Entry* parent, const std::u16string& name, std::uint16_t type, std::uint64_t size) {
    Entry* dir = arena->newDir();
    arena->setFileName(name, dir);
    dir->fileType = type;
    dir->fileID = ++volume.maxFileID;
    dir->parentID = parent->fileID;
    dir->parent = parent;
    dir->fileSize = size;
    addChild(dir, parent);
    return dir;
  }
};

class AutoRecoveryTest : public ::testing::Test {
 protected:
  AutoRecoveryTest() {
    sources.loadSigData = [](int) { return catalog(); };
    controller = std::make_unique<WizardController>(view, ui, launcher, sources);
    controller->mainThread().adoptCurrentThread();
    controller->setRecoveryPairLocation(&location);
  }
  InterruptedSearch search;
  StateFolderLocation location{search.folder.string()};
  NullWizardView view;
  RecordingUiBridge ui;
  apptest::RecordingScanLauncher launcher;
  MediaSources sources;
  std::unique_ptr<WizardController> controller;
};

TEST_F(AutoRecoveryTest, TheWizardIsReplayedAndTheSearchStartsAtTheSavedPosition) {
  ASSERT_EQ(controller->openScanInfoAutoRecoveryAndScan(), "");
  WizardController& c = *controller;
  EXPECT_EQ(c.scanMode, 3);
  EXPECT_EQ(c.rawSearchMode, 3);
  EXPECT_EQ(c.mainScanStatus, "Searching for music, video and photos from Kingston");
  EXPECT_TRUE(c.autoStartAfterRawCrash);
  EXPECT_EQ(c.autoRecMp3DoneArray, (std::vector<std::uint64_t>{11, 12}));
  EXPECT_EQ(c.autoRecMpgDoneArray, (std::vector<std::uint64_t>{5}));

  // The disk search, resumed at the saved sector with the rows the catalog still has.
  ASSERT_EQ(launcher.count, 1);
  EXPECT_EQ(launcher.entry, ScanEntry::kScanForDeletedFilesDisk);
  ASSERT_EQ(launcher.arguments.size(), 4u);
  const auto& rows = std::get<SigSelArray>(launcher.arguments[0]);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0]->sig->extension, "jpg");
  EXPECT_EQ(rows[1]->sig->extension, "cr2");
  EXPECT_EQ(std::get<std::int64_t>(launcher.arguments[1]), 1);
  EXPECT_EQ(std::get<std::int64_t>(launcher.arguments[2]), 4321);
  EXPECT_EQ(std::get<std::string>(launcher.arguments[3]), "auto");

  // The volume keeps its scan type, range and known files, and holds the appended finds.
  const Volume& v = *launcher.volume;
  EXPECT_EQ(&v, c.selectedVolume.get());
  EXPECT_EQ(v.volumeScanType, 3);
  EXPECT_EQ(v.path, "/dev/sdz");
  EXPECT_FLOAT_EQ(v.startPos, 10.0F);
  EXPECT_FLOAT_EQ(v.endPos, 90.0F);
  ASSERT_TRUE(v.tables.btreeFirstFileBlock);
  EXPECT_NE(v.tables.btreeFirstFileBlock->retrieveKeyField(900), nullptr);
  EXPECT_EQ(v.tables.btreeFirstFileBlock->retrieveKeyField(41), nullptr);
  EXPECT_EQ(v.counters.fileCount, 2u);
  EXPECT_EQ(v.counters.folderCount, 1u);
  EXPECT_EQ(v.counters.dataSize, 4096u + 8192u);
  EXPECT_GE(v.maxFileID, 12u) << "new finds are numbered past the appended ones";
  const Entry* folder = childNamed(v.dirRoot, "JPG Files");
  ASSERT_NE(folder, nullptr);
  ASSERT_NE(childNamed(folder, "file2.jpg"), nullptr);
  // The next find of the folder is named file3.jpg, as in a search never interrupted.
  EXPECT_EQ(folder->childrenCount, 2u);
  EXPECT_EQ(folder->fileSize, 4096u + 8192u);
  EXPECT_EQ(v.dirRoot->fileSize, 4096u + 8192u);
}

TEST_F(AutoRecoveryTest, TheResumedSearchWritesItsOwnPairWhichTheCleanUpRemoves) {
  ASSERT_EQ(controller->openScanInfoAutoRecoveryAndScan(), "");
  Volume& v = *launcher.volume;
  const SignatureSearchRecovery recovery = controller->signatureSearchStarting(v);
  ASSERT_NE(recovery.records, nullptr);
  ASSERT_NE(recovery.positions, nullptr);
  EXPECT_EQ(recovery.mp3DoneArray, (std::vector<std::uint64_t>{11, 12}));
  EXPECT_EQ(recovery.mpgDoneArray, (std::vector<std::uint64_t>{5}));
  EXPECT_TRUE(ui.alerts.empty());
  // The new pair holds the replayed state and tree, with no position yet.
  const RecoveryPairReadResult again = openScanInfoAutoRecovery(search.paths);
  ASSERT_TRUE(again.ok()) << again.reason;
  EXPECT_EQ(again.data->scanMode, 3);
  EXPECT_EQ(again.data->autoRecSigExtArray, (std::vector<std::string>{"jpg", "cr2"}));
  EXPECT_EQ(again.data->knownFileKeys.size(), 2u);
  EXPECT_EQ(again.data->autoRecBeginSize, 0u);
  const Entry* folder = childNamed(again.data->root, "JPG Files");
  ASSERT_NE(folder, nullptr);
  EXPECT_EQ(folder->childList.size(), 2u);

  controller->signatureSearchCleanUp();
  EXPECT_FALSE(recoveryPairPresence(search.paths).recoveryFile);
  EXPECT_FALSE(recoveryPairPresence(search.paths).infoFile);
}

TEST_F(AutoRecoveryTest, APairThatFailsToDecodeIsRemovedAndNothingStarts) {
  std::ofstream(search.paths.recoveryFile, std::ios::trunc) << "not a pair";
  const std::string note = controller->openScanInfoAutoRecoveryAndScan();
  EXPECT_NE(note.find("was removed"), std::string::npos) << note;
  EXPECT_EQ(launcher.count, 0);
  EXPECT_FALSE(controller->autoStartAfterRawCrash);
  EXPECT_FALSE(recoveryPairPresence(search.paths).recoveryFile);
  EXPECT_FALSE(recoveryPairPresence(search.paths).infoFile);
  // With no pair there is nothing to resume, and nothing is removed or started.
  EXPECT_NE(controller->openScanInfoAutoRecoveryAndScan().find("no interrupted search"), std::string::npos);
  EXPECT_EQ(launcher.count, 0);
}

TEST_F(AutoRecoveryTest, AFolderThatCanNotHoldThePairIsToldAndTheSearchRunsWithout) {
  const fs::path notAFolder = search.folder / "file";
  std::ofstream(notAFolder) << "x";
  StateFolderLocation blocked(notAFolder.string());
  controller->setRecoveryPairLocation(&blocked);
  Volume volume;
  volume.arena = std::make_shared<EntryArena>();
  volume.dirRoot = makeRootDir(*volume.arena, nullptr);
  const SignatureSearchRecovery recovery = controller->signatureSearchStarting(volume);
  EXPECT_EQ(recovery.records, nullptr);
  EXPECT_EQ(recovery.positions, nullptr);
  ASSERT_EQ(ui.alerts.size(), 1u);
  EXPECT_EQ(ui.alerts[0].title, "!Error");
  EXPECT_EQ(ui.alerts[0].text, "Cannot create file at selected path");
  controller->signatureSearchCleanUp();  // nothing to remove, and no harm
}

// Writing the pair onto the searched device could overwrite the very files sought.
TEST_F(AutoRecoveryTest, NoPairIsWrittenOnTheSearchedDevice) {
  std::string askedFolder;
  controller->folderOnSearchedDevice = [&](Volume&, const std::string& folder) {
    askedFolder = folder;
    return true;
  };
  Volume volume;
  volume.arena = std::make_shared<EntryArena>();
  volume.dirRoot = makeRootDir(*volume.arena, nullptr);
  fs::remove(search.paths.recoveryFile);
  fs::remove(search.paths.infoFile);
  const SignatureSearchRecovery recovery = controller->signatureSearchStarting(volume);
  EXPECT_EQ(askedFolder, search.folder.string());
  EXPECT_EQ(recovery.records, nullptr);
  ASSERT_EQ(ui.alerts.size(), 1u);
  EXPECT_EQ(ui.alerts[0].text, "Cannot create file at selected path");
  EXPECT_FALSE(recoveryPairPresence(search.paths).recoveryFile);
  controller->signatureSearchCleanUp();
}

class RecordingGuard : public SearchGuard {
 public:
  std::string guardSearch(const RecoveryPairPaths& pair) override {
    guarded.push_back(pair);
    // The guard comes after the pair: it is there to be watched.
    pairThere = recoveryPairPresence(pair).both();
    return answer;
  }
  std::vector<RecoveryPairPaths> guarded;
  bool pairThere = false;
  std::string answer;
};

TEST_F(AutoRecoveryTest, TheGuardWatchesEachSearchOnceItsPairStands) {
  RecordingGuard guard;
  controller->setSearchGuard(&guard);
  int broughtToFront = 0;
  controller->bringMainWindowToFront = [&] { ++broughtToFront; };
  ASSERT_EQ(controller->openScanInfoAutoRecoveryAndScan(), "");
  SignatureSearchRecovery recovery = controller->signatureSearchStarting(*launcher.volume);
  ASSERT_EQ(guard.guarded.size(), 1u);
  EXPECT_EQ(guard.guarded[0].recoveryFile, search.paths.recoveryFile);
  EXPECT_TRUE(guard.pairThere);
  controller->mainThread().runPending();
  EXPECT_EQ(broughtToFront, 1);
  controller->signatureSearchCleanUp();

  // A guard that can't start leaves the search as it is, without a word to the user.
  guard.answer = "no watchdog";
  recovery = controller->signatureSearchStarting(*launcher.volume);
  EXPECT_EQ(guard.guarded.size(), 2u);
  EXPECT_NE(recovery.records, nullptr);
  EXPECT_TRUE(ui.alerts.empty());
  controller->signatureSearchCleanUp();

  // Without a pair there is nothing to watch.
  StateFolderLocation blocked((search.folder / "missing" / "\0").string());
  std::ofstream(search.folder / "missing") << "a file, not a folder";
  controller->setRecoveryPairLocation(&blocked);
  recovery = controller->signatureSearchStarting(*launcher.volume);
  EXPECT_EQ(guard.guarded.size(), 2u);
  controller->signatureSearchCleanUp();
  controller->setSearchGuard(nullptr);
}

// The pair's names are fixed, so a second search at the same time (two command lines) must neither
// replace the first one's pair nor resume it as if it had crashed.
TEST_F(AutoRecoveryTest, ASecondSearchLeavesTheRunningSearchsPairAlone) {
  ASSERT_EQ(controller->openScanInfoAutoRecoveryAndScan(), "");
  const SignatureSearchRecovery first = controller->signatureSearchStarting(*launcher.volume);
  ASSERT_NE(first.records, nullptr);

  RecoveryPairKeeper second;
  second.setLocation(&location);
  second.scanStarting({}, {}, {});
  Volume other;
  other.arena = std::make_shared<EntryArena>();
  other.dirRoot = makeRootDir(*other.arena, nullptr);
  const RecoveryPairKeeper::Started refused = second.searchStarting(other, {});
  EXPECT_EQ(refused.recovery.records, nullptr);
  EXPECT_NE(refused.error.find("another search"), std::string::npos) << refused.error;
  EXPECT_TRUE(recoveryPairInUse(search.paths));
  EXPECT_NE(controller->openScanInfoAutoRecoveryAndScan().find("still running"), std::string::npos);
  second.cleanUp();
  EXPECT_TRUE(recoveryPairPresence(search.paths).both()) << "the refused search removed the running one's pair";

  controller->signatureSearchCleanUp();
  EXPECT_FALSE(recoveryPairInUse(search.paths));
  const RecoveryPairKeeper::Started now = second.searchStarting(other, {});
  EXPECT_NE(now.recovery.records, nullptr) << now.error;
  second.cleanUp();
}

}  // namespace
}  // namespace nua
