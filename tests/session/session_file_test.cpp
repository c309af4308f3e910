// A session written from a tree built in code and read back: the settings and blobs, the name and
// path rules, the header checks, the temporary file, and damaged files that must never crash.
#include <gtest/gtest.h>

#include <random>

#include "base/bytes.h"
#include "base/text.h"
#include "session/session_reader.h"
#include "session/session_tree.h"
#include "session/session_writer.h"
#include "session_test_files.h"

namespace nua {
namespace {

namespace fs = std::filesystem;
using testing_session::readAll;
using testing_session::scratch;
using testing_session::SmallTree;
using testing_session::writeAll;

struct Written {
  SmallTree tree;
  SessionContents contents;
  Entry *docs = nullptr, *live = nullptr, *gone = nullptr, *empty = nullptr, *long255 = nullptr, *long256 = nullptr;
};

void build(Written& w) {
  SmallTree& t = w.tree;
  w.docs = t.add(t.root, u"docs", 1);
  w.live = t.add(w.docs, u"plan.txt", 2, 3000);
  addDataExtStartBlock(40, 1, w.live);
  w.gone = t.add(w.docs, u"gone.jpg", 2, 9000, true);
  addDataExtStartBlock(50, 2, w.gone);
  addDataExtStartBlock(70, 1, w.gone);
  w.empty = t.add(t.root, u"empty.dat", 2, 0);
  addDataExtStartBlock(90, 1, w.empty);  // an empty entry's extents are not written
  w.long255 = t.add(t.root, std::u16string(255, u'a'), 2, 1);
  w.long256 = t.add(t.root, std::u16string(256, u'b'), 2, 1);
  t.add(t.add(t.root, u"nothing", 1), u"z", 2, 5);
  t.finish();
  w.live->selected = 1;

  auto volume = std::make_shared<Volume>();
  volume->volumeScanType = 0;
  volume->path = "/dev/sdz";
  volume->volumeName = "Macintosh HD";
  volume->volumeContent = "Apple_HFS";
  volume->scanMode = "Normal Scan";
  volume->sizeInSect = 409600;
  volume->HPlusVolStart = 40;
  volume->blockSize = 8;
  volume->startPos = 12.5f;
  volume->counters.entryCount = 9;
  volume->u32BytesInSector = 512;
  w.contents.volume = volume;
  w.contents.scanMode = 4;
  w.contents.rawSearchMode = 5;
  w.contents.isPTListOrPTScanListChosen = 1;
  w.contents.partitionListDictArray = {
      PartitionRow::fromDict(Dict{{"Path", "/dev/sdz"}, {"Volume Start", 40}, {"Volume Name", "A"}})};
  w.contents.partitionScanListDictArray = {
      PartitionRow::fromDict(Dict{{"Path", "/dev/sdz"}, {"Volume Scan Type", 1}, {"WhetherAlternateSector", 7}})};
  w.contents.hasFirst5Sectors = true;
  for (int i = 0; i < 5 * 512; ++i) w.contents.first5Sectors.push_back(static_cast<std::byte>(i * 13));
}

std::string save(const Written& w, const std::string& name) {
  const std::string path = (scratch() / name).string();
  std::uint32_t count = 0;
  const SessionWriteResult result = saveScanInfo(path, w.contents, w.tree.root, count, nullptr);
  EXPECT_TRUE(result.ok) << result.error;
  EXPECT_EQ(count, w.tree.root->childrenCount + 1);
  return path;
}

std::string nameOf(const Entry* dir) { return toUtf8(EntryArena::fileNameOfDir(dir).value_or(u"")); }

TEST(SessionFileTest, SettingsBlobsAndTreeComeBack) {
  Written w;
  build(w);
  const std::string path = save(w, "small.nvs");
  EXPECT_EQ(checkSessionHeader(path).status, SessionHeaderStatus::kComplete);
  SessionReadResult read = readScanInfo(path, nullptr);
  ASSERT_TRUE(read.ok()) << read.reason;
  const SessionContents& c = read.data->contents;
  EXPECT_EQ(c.volume->volumeScanType, 0);
  EXPECT_EQ(c.volume->path, "/dev/sdz");
  EXPECT_EQ(c.volume->volumeName, "Macintosh HD");
  EXPECT_EQ(c.volume->scanMode, "Normal Scan");
  EXPECT_EQ(c.volume->HPlusVolStart, 40u);
  EXPECT_EQ(c.volume->sizeInSect, 409600u);
  EXPECT_EQ(c.volume->startPos, 12.5f);
  EXPECT_EQ(c.scanMode, 4);
  EXPECT_EQ(c.rawSearchMode, 5);
  EXPECT_EQ(c.isPTListOrPTScanListChosen, 1);
  EXPECT_EQ(c.partitionListDictArray, w.contents.partitionListDictArray);
  EXPECT_EQ(c.partitionScanListDictArray, w.contents.partitionScanListDictArray);
  EXPECT_EQ(c.first5Sectors, w.contents.first5Sectors);

  Entry* root = setSelectedVolumeDirRoot(read.data->root, *read.data->arena);
  EXPECT_EQ(nameOf(root), "Root");
  EXPECT_EQ(root->fileCount, w.tree.root->fileCount);
  EXPECT_EQ(root->fileSize, w.tree.root->fileSize);
  EXPECT_EQ(root->childrenCount, w.tree.root->childrenCount);
  ASSERT_EQ(root->childListCount(), w.tree.root->childListCount());
  const Entry* docs = root->childList[0];
  EXPECT_EQ(toUtf8(EntryArena::pathNameOfDir(docs).value_or(u"")), "1/Root");
  EXPECT_EQ(docs->deleted, 1);
  ASSERT_EQ(docs->deletedListCount(), 1u);
  const Entry* gone = docs->childList[1];
  EXPECT_EQ(nameOf(gone), "gone.jpg");
  EXPECT_EQ(gone->fileID, w.gone->fileID);
  EXPECT_EQ(gone->parentID, w.gone->parentID);
  EXPECT_EQ(gone->createDate, w.gone->createDate);
  EXPECT_EQ(gone->dataExt.size(), 2u);
  EXPECT_EQ(gone->dataExt[1].startBlock, 70u);
  EXPECT_EQ(docs->childList[0]->selected, 1);
  EXPECT_EQ(docs->createDate, w.docs->createDate);
  EXPECT_TRUE(root->childList[1]->dataExt.empty());              // empty.dat
  EXPECT_EQ(nameOf(root->childList[2]), std::string(255, 'a'));  // 255 units stay
  EXPECT_EQ(nameOf(root->childList[3]), "Untitled");             // 256 come back as "Untitled"
  EXPECT_EQ(nameOf(root->childList[4]->childList[0]), "z");
}

TEST(SessionFileTest, NoPartitionBlobWithoutAListAndAnEntryInADeletedOnlyViewIsStillWritten) {
  Written w;
  build(w);
  w.contents.rawSearchMode = 4;
  w.contents.isPTListOrPTScanListChosen = -1;
  w.contents.hasFirst5Sectors = false;
  // The deleted-only arrangement swaps each folder's lists; the file holds the whole tree regardless.
  for (Entry* dir : {w.tree.root, w.docs}) {
    swapChildrenArrayOfDir(dir);
    dir->showDeletedOnly = 1;
  }
  const std::string path = save(w, "plain.nvs");
  SessionReadResult read = readScanInfo(path, nullptr);
  ASSERT_TRUE(read.ok()) << read.reason;
  EXPECT_EQ(read.data->contents.isPTListOrPTScanListChosen, -1);
  EXPECT_TRUE(read.data->contents.partitionListDictArray.empty());
  EXPECT_FALSE(read.data->contents.hasFirst5Sectors);
  EXPECT_EQ(read.data->scanInfoEntryCount, w.tree.root->childrenCount);
}

// Replaces the blob at offset 0 (status) or the one after it (identity) by an archived string.
std::string withBlob(std::string file, bool identity, const std::string& text) {
  const std::size_t statusLength = 4 + be32(std::as_bytes(std::span(file.data(), 4)), 0);
  const std::vector<std::byte> blob = archivedBlob(KeyedValue::string(text));
  file.replace(identity ? statusLength : 0, blob.size(), reinterpret_cast<const char*>(blob.data()), blob.size());
  return file;
}

TEST(SessionFileTest, HeaderChecksTellIncompleteFromForeign) {
  Written w;
  build(w);
  const std::string good = readAll(save(w, "header.nvs"));
  const fs::path probe = scratch() / "probe.nvs";
  writeAll(probe, withBlob(good, false, "UnComple"));
  EXPECT_EQ(checkSessionHeader(probe).status, SessionHeaderStatus::kIncomplete);
  EXPECT_FALSE(readScanInfo(probe, nullptr).ok());
  std::string other = withBlob(good, true, "Nua Recovery Software Recovery Session Version 1.0.0");
  writeAll(probe, other);
  const SessionHeaderCheck foreign = checkSessionHeader(probe);
  EXPECT_EQ(foreign.status, SessionHeaderStatus::kForeign);
  EXPECT_EQ(foreign.identity, "Nua Recovery Software Recovery Session Version 1.0.0");
  writeAll(probe, "\xFF\xD8\xFF\xE0 not a session");
  EXPECT_EQ(checkSessionHeader(probe).status, SessionHeaderStatus::kIncomplete);
  EXPECT_EQ(checkSessionHeader((scratch() / "absent.nvs").string()).status, SessionHeaderStatus::kIncomplete);
}

TEST(SessionFileTest, AFailedWriteLeavesTheEarlierFileAndTheSourceIsNeverTheTarget) {
  Written w;
  build(w);
  std::uint32_t count = 0;
  EXPECT_FALSE(saveScanInfo((scratch() / "no-such-folder" / "x.nvs").string(), w.contents, w.tree.root, count, nullptr).ok);
  const fs::path image = scratch() / "source.img";
  writeAll(image, std::string(4096, 'S'));
  w.contents.volume->path = image.string();
  EXPECT_FALSE(saveScanInfo(image.string(), w.contents, w.tree.root, count, nullptr).ok);
  EXPECT_EQ(readAll(image), std::string(4096, 'S'));
  for (const auto& entry : fs::directory_iterator(scratch()))
    EXPECT_EQ(entry.path().filename().string().rfind(".", 0), std::string::npos) << "temporary left behind";
}

// The whole file, cut at every 97th byte: each cut is refused without a tree.
TEST(SessionFileTest, EveryTruncationIsRefused) {
  Written w;
  build(w);
  const std::string good = readAll(save(w, "cut.nvs"));
  const fs::path probe = scratch() / "cut-probe.nvs";
  for (std::size_t length = 0; length < good.size(); length += 97) {
    writeAll(probe, good.substr(0, length));
    EXPECT_FALSE(readScanInfo(probe.string(), nullptr).ok()) << length;
  }
  writeAll(probe, good + std::string(1, '\0'));
  EXPECT_FALSE(readScanInfo(probe.string(), nullptr).ok());
}

// Random bytes flipped with fixed seeds: the reader returns, and a tree it accepts can be rebuilt.
TEST(SessionFileTest, FlippedBytesNeverCrashOrHang) {
  Written w;
  build(w);
  const std::string good = readAll(save(w, "flip.nvs"));
  const fs::path probe = scratch() / "flip-probe.nvs";
  int accepted = 0;
  for (std::uint32_t seed = 1; seed <= 300; ++seed) {
    std::mt19937 random(seed);
    std::string bytes = good;
    const int flips = 1 + static_cast<int>(random() % 4);
    for (int i = 0; i < flips; ++i) {
      // Half the flips land in the tree, where most of the decisions are.
      const std::size_t from = (random() % 2 == 0) ? 0 : kSessionHeaderAreaSize;
      bytes[from + random() % (bytes.size() - from)] ^= static_cast<char>(1 + random() % 255);
    }
    writeAll(probe, bytes);
    SessionReadResult read = readScanInfo(probe.string(), nullptr);
    if (!read.ok()) continue;
    ++accepted;
    Entry* root = setSelectedVolumeDirRoot(read.data->root, *read.data->arena);
    EXPECT_LE(root->childrenCount, read.data->scanInfoEntryCount);
  }
  EXPECT_LT(accepted, 300);
}

}  // namespace
}  // namespace nua
