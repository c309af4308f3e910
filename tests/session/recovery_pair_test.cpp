// The crash-recovery pair written from a tree, tables and lists built in code: its exact bytes, the
// clamps on reading, the records a search appends (known, unknown and cut-off parents), the resume
// position, and damaged pairs that must end with nothing or fewer records, never a crash.
#include <gtest/gtest.h>

#include <random>

#include "base/bytes.h"
#include "base/text.h"
#include "records/entry_ops.h"
#include "session/recovery_pair.h"
#include "session/recovery_pair_reader.h"
#include "session/session_writer.h"
#include "session/volume_coding.h"
#include "session_test_files.h"

namespace nua {
namespace {

namespace fs = std::filesystem;
using testing_session::readAll;
using testing_session::scratch;
using testing_session::SmallTree;
using testing_session::writeAll;

struct Scan {
  SmallTree tree;
  Volume volume;
  CountedKeyTable keys;
  RecoveryPairState state;
  Entry *photos = nullptr, *holiday = nullptr;

  Scan() {
    photos = tree.add(tree.root, u"photos", 1);
    holiday = tree.add(photos, u"holiday.jpg", 2, 70'000, true);
    addDataExtStartBlock(300, 18, holiday);
    tree.add(tree.root, u"notes.txt", 2, 10);
    tree.finish();
    // A volume of an unmounted disk's partition list: it begins inside the device.
    volume.volumeScanType = 2;
    volume.path = "/dev/sdz";
    volume.startSector = volume.HPlusVolStart = 2048;
    volume.volumeName = "Camera";
    volume.volumeContent = "FAT32";
    volume.u32BytesInSector = 512;
    for (std::uint64_t key : {900u, 40u, 7000u}) keys.insert({key, 0});
    state.selectedVolume = &volume;
    state.mainScanStatus = "Searching JPG";
    state.treeScanMode = 0;
    state.scanMode = 2;
    state.rawSearchMode = 4;
    state.isPTListOrPTScanListChosen = 1;
    state.partitionListDictArray = {PartitionRow::fromDict(Dict{{"Path", "/dev/sdz"}, {"Volume Start", 2048}})};
    state.partitionScanListDictArray = {PartitionRow::fromDict(Dict{{"Path", "/dev/sdz"}, {"Volume Scan Type", 1}})};
    state.signatureExtensions = {"jpg", "cr2"};
    state.btreeFirstFileBlock = &keys;
    state.mp3DoneArray = {11, 12};
    state.mpgDoneArray = {5};
    state.dirRoot = tree.root;
  }
};

RecoveryPairPaths freshPaths(const std::string& name) {
  const fs::path folder = scratch() / name;
  fs::remove_all(folder);
  fs::create_directories(folder);
  return RecoveryPairPaths::inFolder(folder.string());
}

RecoveryPairPaths writePair(const Scan& scan, const std::string& name) {
  const RecoveryPairPaths paths = freshPaths(name);
  const RecoveryPairWriteResult written = saveScanInfoAutoRecovery(paths, scan.state);
  EXPECT_TRUE(written.ok) << written.error;
  return paths;
}

// Parts 1 to 8 put together by hand, big-endian.
struct Bytes {
  std::string text;
  void blob(const std::vector<std::byte>& b) { text.append(reinterpret_cast<const char*>(b.data()), b.size()); }
  void u32(std::uint32_t v) { number(v, 4); }
  void u64(std::uint64_t v) { number(v, 8); }
  void number(std::uint64_t v, int width) {
    for (int i = width - 1; i >= 0; --i) text.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
  }
};

std::string expectedState(const Scan& scan, const std::vector<std::uint64_t>& keys) {
  Bytes b;
  b.blob(archivedBlob(KeyedValue::object(encodeVolume(scan.volume))));
  b.blob(archivedBlob(KeyedValue::string("Searching JPG")));
  for (std::uint32_t mode : {0u, 2u, 4u, 1u}) b.u32(mode);
  b.blob(archivedBlob(encodePartitionRows(scan.state.partitionListDictArray)));
  b.blob(archivedBlob(encodePartitionRows(scan.state.partitionScanListDictArray)));
  b.u32(2);
  b.blob(archivedBlob(KeyedValue::string("jpg")));
  b.blob(archivedBlob(KeyedValue::string("cr2")));
  b.u64(keys.size());
  for (std::uint64_t key : keys) b.u64(key);
  b.u32(2);
  b.u64(11);
  b.u64(12);
  b.u32(1);
  b.u64(5);
  return b.text;
}

std::string nameOf(const Entry* dir) { return toUtf8(EntryArena::fileNameOfDir(dir).value_or(u"")); }

const Entry* childNamed(const Entry* dir, const std::string& name) {
  for (const Entry* child : dir->childList)
    if (nameOf(child) == name) return child;
  return nullptr;
}

TEST(RecoveryPairTest, StateAndTreeAreWrittenByteForByte) {
  Scan scan;
  const RecoveryPairPaths paths = writePair(scan, "bytes");
  const std::string file = readAll(paths.recoveryFile);
  const std::string state = expectedState(scan, {40, 900, 7000});  // one node: its keys in order
  ASSERT_GT(file.size(), state.size());
  EXPECT_EQ(file.substr(0, state.size()), state);
  // The tree is the very record stream a session of the same tree ends with.
  std::uint32_t count = 0;
  SessionContents contents;
  contents.volume = std::make_shared<Volume>();
  const std::string session = (scratch() / "same-tree.nvs").string();
  ASSERT_TRUE(saveScanInfo(session, contents, scan.tree.root, count, nullptr).ok);
  const std::string sessionBytes = readAll(session);
  const std::size_t treeBytes = file.size() - state.size();
  EXPECT_EQ(file.substr(state.size()), sessionBytes.substr(sessionBytes.size() - treeBytes));
  EXPECT_EQ(fs::file_size(paths.infoFile), 0u);

  // No table, and an empty one, are the same eight zero bytes.
  CountedKeyTable empty;
  for (const CountedKeyTable* table : {static_cast<const CountedKeyTable*>(nullptr), static_cast<const CountedKeyTable*>(&empty)}) {
    scan.state.btreeFirstFileBlock = table;
    const RecoveryPairPaths emptyPaths = writePair(scan, "empty-table");
    const std::string expected = expectedState(scan, {});
    EXPECT_EQ(readAll(emptyPaths.recoveryFile).substr(0, expected.size()), expected);
    const RecoveryPairReadResult read = openScanInfoAutoRecovery(emptyPaths);
    ASSERT_TRUE(read.ok()) << read.reason;
    EXPECT_TRUE(read.data->knownFileKeys.empty());
  }
}

TEST(RecoveryPairTest, EverythingComesBackAndModesOutOfRangeBecomeUnset) {
  Scan scan;
  for (std::uint64_t key = 1; key <= 200; ++key) scan.keys.insert({key * 77, 0});
  RecoveryPairReadResult read = openScanInfoAutoRecovery(writePair(scan, "round-trip"));
  ASSERT_TRUE(read.ok()) << read.reason;
  const RecoveryPairData& d = *read.data;
  EXPECT_EQ(d.selectedVolume->volumeName, "Camera");
  EXPECT_EQ(d.selectedVolume->volumeScanType, 2);
  // Its start is not among its kind's keys, but the resumed search must read the volume, not the disk.
  EXPECT_EQ(d.selectedVolume->startSector, 2048u);
  EXPECT_EQ(d.selectedVolume->HPlusVolStart, 2048u);
  EXPECT_EQ(d.mainScanStatus, "Searching JPG");
  EXPECT_EQ(std::make_tuple(d.treeScanMode, d.scanMode, d.rawSearchMode, d.isPTListOrPTScanListChosen),
            std::make_tuple(0, 2, 4, 1));
  EXPECT_EQ(d.partitionListDictArray, scan.state.partitionListDictArray);
  EXPECT_EQ(d.partitionScanListDictArray, scan.state.partitionScanListDictArray);
  EXPECT_EQ(d.autoRecSigExtArray, (std::vector<std::string>{"jpg", "cr2"}));
  EXPECT_EQ(d.mp3DoneArray, (std::vector<std::uint64_t>{11, 12}));
  EXPECT_EQ(d.mpgDoneArray, (std::vector<std::uint64_t>{5}));
  std::vector<std::uint64_t> keys = d.knownFileKeys, stored;
  std::sort(keys.begin(), keys.end());
  scan.keys.forEachItemInOrder([&](const CountedKeyItem& item) { stored.push_back(item.keyField); });
  EXPECT_EQ(keys, stored);
  EXPECT_EQ(knownFileTable(d.knownFileKeys)->numItems(), static_cast<std::int64_t>(stored.size()));
  EXPECT_EQ(d.autoRecBeginSize, 0u);  // an empty Info file: the start of the range
  const Entry* holiday = childNamed(childNamed(d.root, "photos"), "holiday.jpg");
  ASSERT_NE(holiday, nullptr);
  EXPECT_EQ(holiday->fileSize, 70'000u);
  ASSERT_EQ(holiday->dataExt.size(), 1u);
  EXPECT_EQ(holiday->dataExt[0].startBlock, 300u);
  EXPECT_EQ(d.root->childrenCount, scan.tree.root->childrenCount);

  scan.state.treeScanMode = 2;
  scan.state.scanMode = 6;
  scan.state.rawSearchMode = 9;
  scan.state.isPTListOrPTScanListChosen = 2;
  read = openScanInfoAutoRecovery(writePair(scan, "clamps"));
  ASSERT_TRUE(read.ok()) << read.reason;
  EXPECT_EQ(std::make_tuple(read.data->treeScanMode, read.data->scanMode, read.data->rawSearchMode,
                            read.data->isPTListOrPTScanListChosen),
            std::make_tuple(-1, -1, -1, -1));
}

// What a search appends: a new folder and its file, a file into a folder of the saved tree, a record
// whose parent nobody knows, and a last record cut off by the crash.
struct Appended {
  Scan scan;
  RecoveryPairPaths paths;
  std::uint64_t stateAndTreeBytes = 0;

  explicit Appended(const std::string& name, std::size_t cutBytes) : paths(writePair(scan, name)) {
    stateAndTreeBytes = fs::file_size(paths.recoveryFile);
    RecoveryRecordAppender appender(paths.recoveryFile);
    RecoveryResumePosition position(paths.infoFile, &appender);
    SmallTree& t = scan.tree;
    Entry* jpgFolder = t.add(t.root, u"JPG Files", 1);
    appender.writeEntry(*jpgFolder);
    Entry* found = t.add(jpgFolder, u"file1.jpg", 2, 4096);
    addDataExtStartBlock(5000, 8, found);
    appender.writeEntry(*found);
    appender.writeEntry(*t.add(scan.photos, u"File1.png", 2, 512));
    Entry unknownParent;
    unknownParent.identity = 999'999;
    Entry* lost = t.arena->newDir();
    t.arena->setFileName(u"lost.gif", lost);
    lost->fileType = 2;
    lost->fileSize = 100;
    lost->parent = &unknownParent;
    appender.writeEntry(*lost);
    appender.synchronise();
    position.savePosition(123'456);
    EXPECT_TRUE(appender.working() && position.working());
    appender.writeEntry(*t.add(jpgFolder, u"file2.jpg", 2, 8192));
    appender.syncToDisk();
    fs::resize_file(paths.recoveryFile, fs::file_size(paths.recoveryFile) - cutBytes);
  }
};

TEST(RecoveryPairTest, AppendedRecordsFindTheirParentsByIdentity) {
  for (std::size_t cut : {std::size_t{0}, std::size_t{1}, std::size_t{30}, std::size_t{100}}) {
    Appended a("appended", cut);
    const RecoveryPairReadResult read = openScanInfoAutoRecovery(a.paths);
    ASSERT_TRUE(read.ok()) << read.reason;
    const RecoveryPairData& d = *read.data;
    const bool lastKept = cut == 0;
    EXPECT_EQ(d.autoRecBeginSize, 123'456u);
    EXPECT_EQ(d.appendedDropped, 1u) << "the record under an unknown parent";
    EXPECT_EQ(d.appendedCutShort, !lastKept) << cut;
    const Entry* jpgFolder = childNamed(d.root, "JPG Files");
    ASSERT_NE(jpgFolder, nullptr);
    ASSERT_EQ(jpgFolder->childList.size(), lastKept ? 2u : 1u);
    EXPECT_EQ(jpgFolder->childList[0]->dataExt[0].startBlock, 5000u);
    EXPECT_NE(childNamed(childNamed(d.root, "photos"), "File1.png"), nullptr);
    EXPECT_EQ(childNamed(d.root, "lost.gif"), nullptr);
    EXPECT_EQ(d.fileCount, lastKept ? 3u : 2u);
    EXPECT_EQ(d.folderCount, 1u);
    EXPECT_EQ(d.dataSize, lastKept ? 4096u + 512 + 8192 : 4096u + 512);
    // Each placed record counts once on every folder above it, as it does in the scan's own tree.
    EXPECT_EQ(d.root->childrenCount, a.scan.tree.root->childrenCount - (lastKept ? 0 : 1));
    EXPECT_EQ(d.root->fileSize, a.scan.tree.root->fileSize - (lastKept ? 0 : 8192));
  }
}

TEST(RecoveryPairTest, DamagedPairsEndWithNothingOrFewerRecords) {
  Appended a("damaged", 0);
  const std::string whole = readAll(a.paths.recoveryFile);
  const RecoveryPairPaths paths = freshPaths("damaged-copy");
  writeAll(paths.infoFile, "");
  // Every length through the tree's end and the appended records; a sample of the state before.
  const std::size_t everyByteFrom = whole.size() > 1200 ? whole.size() - 1200 : 0;
  for (std::size_t length = 0; length < whole.size(); length += length < everyByteFrom ? 11 : 1) {
    writeAll(paths.recoveryFile, whole.substr(0, length));
    const RecoveryPairReadResult read = openScanInfoAutoRecovery(paths);
    if (length < a.stateAndTreeBytes) {
      EXPECT_FALSE(read.ok()) << length;
    } else {
      ASSERT_TRUE(read.ok()) << length << ": " << read.reason;
      EXPECT_LE(read.data->entryCount, 4u);
    }
  }
  std::mt19937 random(21);
  for (int round = 0; round < 200; ++round) {
    std::string mutated = whole;
    for (int flips = 0; flips < 1 + round % 8; ++flips)
      mutated[random() % mutated.size()] = static_cast<char>(random() & 0xFF);
    writeAll(paths.recoveryFile, mutated);
    (void)openScanInfoAutoRecovery(paths);
  }
  writeAll(paths.recoveryFile, "");
  EXPECT_FALSE(openScanInfoAutoRecovery(paths).ok());
  fs::remove(paths.recoveryFile);
  EXPECT_FALSE(openScanInfoAutoRecovery(paths).ok());
}

TEST(RecoveryPairTest, WritingReplacesRemovesAndFailsWithoutLeavingHalfAPair) {
  Scan scan;
  const RecoveryPairPaths paths = writePair(scan, "lifecycle");
  writeAll(paths.infoFile, std::string(8, '\x07'));
  ASSERT_TRUE(saveScanInfoAutoRecovery(paths, scan.state).ok);
  EXPECT_EQ(fs::file_size(paths.infoFile), 0u) << "a new search starts with an empty Info file";
  EXPECT_TRUE(recoveryPairPresence(paths).both());
  const auto leftovers = [&] { return std::distance(fs::directory_iterator(fs::path(paths.infoFile).parent_path()), {}); };
  EXPECT_EQ(leftovers(), 2) << "no temporary file stays";
  removeRecoveryPair(paths);
  EXPECT_FALSE(recoveryPairPresence(paths).recoveryFile || recoveryPairPresence(paths).infoFile);
  EXPECT_EQ(leftovers(), 0);

  const RecoveryPairPaths nowhere = RecoveryPairPaths::inFolder((scratch() / "no-such-folder").string());
  const RecoveryPairWriteResult failed = saveScanInfoAutoRecovery(nowhere, scan.state);
  EXPECT_FALSE(failed.ok);
  EXPECT_FALSE(failed.error.empty());
  RecoveryRecordAppender appender(nowhere.recoveryFile);
  RecoveryResumePosition position(nowhere.infoFile, &appender);
  appender.writeEntry(*scan.holiday);
  appender.synchronise();
  position.savePosition(5);
  EXPECT_FALSE(appender.working() || position.working());
}

}  // namespace
}  // namespace nua
