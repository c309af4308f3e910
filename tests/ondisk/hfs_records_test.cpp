// The on-disk record decoders of the HFS+ engine: one good decode each, every truncation, the
// validated fields out of range, and random bytes that must only ever return.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

#include "base/bytes.h"
#include "ondisk/bt_header_record.h"
#include "ondisk/bt_node_descriptor.h"
#include "ondisk/hfs_catalog_file.h"
#include "ondisk/hfs_catalog_folder.h"
#include "ondisk/hfs_catalog_key.h"
#include "ondisk/hfs_extent_key.h"
#include "ondisk/journal_info_block.h"
#include "ondisk/master_directory_block.h"
#include "ondisk/volume_information_block.h"

namespace nua {
namespace {

std::vector<std::byte> zeros(std::size_t n) { return std::vector<std::byte>(n, std::byte{0}); }

TEST(VolumeInformationBlock, DecodesFieldsAtTheirOffsets) {
  auto b = zeros(kVolumeInformationBlockSize);
  putBe16(b, 0, kSignatureHX);
  putBe32(b, 12, 77);
  putBe32(b, 40, 4096);
  putBe32(b, 44, 1000);
  putBe64(b, 272, 0x123456789ULL);  // catalogFile.logicalSize
  putBe32(b, 272 + 12, 9);          // catalogFile.totalBlocks
  putBe32(b, 272 + 16 + 8, 40);     // second descriptor's startBlock
  putBe32(b, 192 + 16 + 4, 3);      // extentsFile first blockCount
  auto v = parseVolumeInformationBlock(b);
  ASSERT_TRUE(v);
  EXPECT_TRUE(isHfsPlusSignature(v->signature));
  EXPECT_EQ(v->journalInfoBlock, 77u);
  EXPECT_EQ(v->blockSize, 4096u);
  EXPECT_EQ(v->totalBlocks, 1000u);
  EXPECT_EQ(v->catalogFile.logicalSize, 0x123456789ULL);
  EXPECT_EQ(v->catalogFile.totalBlocks, 9u);
  EXPECT_EQ(v->catalogFile.extents[1].startBlock, 40u);
  EXPECT_EQ(v->extentsFile.extents[0].blockCount, 3u);
}

TEST(MasterDirectoryBlock, DecodesTheEmbeddedVolumeFields) {
  auto b = zeros(kMasterDirectoryBlockSize);
  putBe16(b, 0, kSignatureBD);
  putBe32(b, 20, 1024);
  putBe16(b, 28, 6);
  put8(b, 36, 4);
  for (std::size_t i = 0; i < 4; ++i) put8(b, 37 + i, static_cast<std::uint8_t>("Wrap"[i]));
  putBe16(b, 124, kSignatureHPlus);
  putBe16(b, 126, 3);
  putBe16(b, 128, 500);
  auto m = parseMasterDirectoryBlock(b);
  ASSERT_TRUE(m);
  EXPECT_EQ(m->drSigWord, kSignatureBD);
  EXPECT_EQ(m->drAlBlkSiz, 1024u);
  EXPECT_EQ(m->drAlBlSt, 6u);
  EXPECT_EQ(m->drEmbedSigWord, kSignatureHPlus);
  EXPECT_EQ(m->xdrStABN, 3u);
  EXPECT_EQ(m->xdrNumABlks, 500u);
  EXPECT_EQ(m->drVN, "Wrap");
  put8(b, 36, 200);  // a name length past the field is cut at 27 bytes
  EXPECT_LE(parseMasterDirectoryBlock(b)->drVN.size(), 27u);
}

TEST(BTNodeDescriptor, DecodesAndJudgesLeaves) {
  auto b = zeros(kBTNodeDescriptorSize);
  putBe32(b, 0, 5);
  putBe32(b, 4, 3);
  put8(b, 8, 0xFF);
  put8(b, 9, 1);
  putBe16(b, 10, 7);
  auto d = parseBTNodeDescriptor(b);
  ASSERT_TRUE(d);
  EXPECT_EQ(d->fLink, 5u);
  EXPECT_EQ(d->bLink, 3u);
  EXPECT_EQ(d->kind, kBTLeafNode);
  EXPECT_EQ(d->numRecords, 7u);
  EXPECT_TRUE(verifyLeafNodeDesc(*d));
  BTNodeDescriptor high = *d;
  high.height = 2;
  EXPECT_FALSE(verifyLeafNodeDesc(high));
  BTNodeDescriptor index = *d;
  index.kind = kBTIndexNode;
  EXPECT_FALSE(verifyLeafNodeDesc(index));
}

TEST(BTNodeDescriptor, RecordOffsetsOutsideTheNodeAreRefused) {
  auto node = zeros(512);
  putBe16(node, 510, 14);   // record 0 right after the descriptor
  putBe16(node, 508, 600);  // record 1 past the node
  putBe16(node, 506, 4);    // record 2 inside the descriptor
  putBe16(node, 504, 505);  // record 3 inside the offset table
  EXPECT_EQ(recordOffset(node, 0), std::optional<std::size_t>(14));
  EXPECT_FALSE(recordOffset(node, 1));
  EXPECT_FALSE(recordOffset(node, 2));
  EXPECT_FALSE(recordOffset(node, 3));
  EXPECT_FALSE(recordOffset(node, 300));
}

TEST(BTHeaderRecord, DecodesTheTreeFacts) {
  auto b = zeros(kBTHeaderRecordSize);
  putBe16(b, 0, 3);
  putBe32(b, 2, 9);
  putBe32(b, 6, 52);
  putBe32(b, 10, 1);
  putBe16(b, 18, 4096);
  auto h = parseBTHeaderRecord(b);
  ASSERT_TRUE(h);
  EXPECT_EQ(h->treeDepth, 3u);
  EXPECT_EQ(h->rootNode, 9u);
  EXPECT_EQ(h->leafRecords, 52u);
  EXPECT_EQ(h->firstLeafNode, 1u);
  EXPECT_EQ(h->nodeSize, 4096u);
}

std::vector<std::byte> catalogKey(std::uint16_t nameLength, std::uint16_t keyLength) {
  auto b = zeros(8 + 2 * static_cast<std::size_t>(nameLength));
  putBe16(b, 0, keyLength);
  putBe32(b, 2, 16);
  putBe16(b, 6, nameLength);
  for (std::size_t i = 0; i < nameLength; ++i) putBe16(b, 8 + 2 * i, static_cast<std::uint16_t>(u'a' + i % 26));
  return b;
}

TEST(HFSPlusCatalogKey, DecodesTheName) {
  auto b = catalogKey(3, 12);
  auto k = parseHFSPlusCatalogKey(b);
  ASSERT_TRUE(k);
  EXPECT_EQ(k->parentID, 16u);
  EXPECT_EQ(k->name, u"abc");
}

TEST(HFSPlusCatalogKey, NameOf255PassesAnd256Fails) {
  EXPECT_TRUE(parseHFSPlusCatalogKey(catalogKey(255, 6 + 510)));
  auto failed = parseHFSPlusCatalogKey(catalogKey(256, 6 + 512));
  EXPECT_FALSE(failed);
  EXPECT_NE(failed.reason.find("nameLength"), std::string::npos);
}

TEST(HFSPlusCatalogKey, NamePastTheKeyLengthFails) {
  EXPECT_FALSE(parseHFSPlusCatalogKey(catalogKey(3, 10)));
}

TEST(CatalogRecords, FolderFileAndExtentKeyDecode) {
  auto folder = zeros(kCatalogFolderSize);
  putBe16(folder, 0, 1);
  putBe32(folder, 8, 99);
  putBe32(folder, 16, 1234);
  auto f = parseHFSPlusCatalogFolder(folder);
  ASSERT_TRUE(f);
  EXPECT_EQ(f->recordType, kFolderRecordType);
  EXPECT_EQ(f->folderID, 99u);
  EXPECT_EQ(f->contentModDate, 1234u);

  auto file = zeros(kCatalogFileSize);
  putBe16(file, 0, 2);
  putBe32(file, 8, 100);
  putBe64(file, 88, 5000);
  putBe32(file, 88 + 12, 2);
  putBe32(file, 88 + 16, 30);
  putBe32(file, 88 + 20, 2);
  putBe64(file, 168, 10);
  auto g = parseHFSPlusCatalogFile(file);
  ASSERT_TRUE(g);
  EXPECT_EQ(g->fileID, 100u);
  EXPECT_EQ(g->dataFork.logicalSize, 5000u);
  EXPECT_EQ(g->dataFork.extents[0], (HFSPlusExtentDescriptor{30, 2}));
  EXPECT_EQ(g->resourceFork.logicalSize, 10u);

  auto key = zeros(kExtentKeySize);
  putBe16(key, 0, 10);
  put8(key, 2, kResourceFork);
  putBe32(key, 4, 100);
  putBe32(key, 8, 8);
  auto k = parseHFSPlusExtentKey(key);
  ASSERT_TRUE(k);
  EXPECT_EQ(k->forkType, kResourceFork);
  EXPECT_EQ(k->fileID, 100u);
  EXPECT_EQ(k->startBlock, 8u);
}

struct Decoder {
  const char* name;
  std::size_t size;
  std::function<bool(ByteSpan)> decodes;
};

const std::vector<Decoder>& decoders() {
  static const std::vector<Decoder> all{
      {"volume header", kVolumeInformationBlockSize, [](ByteSpan b) { return parseVolumeInformationBlock(b).ok(); }},
      {"master directory block", kMasterDirectoryBlockSize, [](ByteSpan b) { return parseMasterDirectoryBlock(b).ok(); }},
      {"node descriptor", kBTNodeDescriptorSize, [](ByteSpan b) { return parseBTNodeDescriptor(b).ok(); }},
      {"header record", kBTHeaderRecordSize, [](ByteSpan b) { return parseBTHeaderRecord(b).ok(); }},
      {"catalog folder", kCatalogFolderSize, [](ByteSpan b) { return parseHFSPlusCatalogFolder(b).ok(); }},
      {"catalog file", kCatalogFileSize, [](ByteSpan b) { return parseHFSPlusCatalogFile(b).ok(); }},
      {"extent key", kExtentKeySize, [](ByteSpan b) { return parseHFSPlusExtentKey(b).ok(); }},
      {"journal info block", kJournalInfoBlockSize, [](ByteSpan b) { return parseJournalInfoBlock(b).ok(); }},
      {"catalog key", 14, [](ByteSpan b) { return parseHFSPlusCatalogKey(b).ok(); }},
  };
  return all;
}

TEST(HfsRecords, EveryTruncationFailsCleanly) {
  for (const Decoder& d : decoders()) {
    auto full = d.name == std::string("catalog key") ? catalogKey(3, 12) : zeros(d.size);
    EXPECT_TRUE(d.decodes(full)) << d.name;
    for (std::size_t length = 0; length < full.size(); ++length)
      EXPECT_FALSE(d.decodes(ByteSpan(full).first(length))) << d.name << " at " << length;
  }
}

TEST(HfsRecords, RandomBytesOnlyEverReturn) {
  std::mt19937 random(20261121);
  std::vector<std::byte> bytes(600);
  for (int round = 0; round < 2000; ++round) {
    for (auto& b : bytes) b = static_cast<std::byte>(random() & 0xFF);
    const std::size_t length = random() % bytes.size();
    for (const Decoder& d : decoders()) (void)d.decodes(ByteSpan(bytes).first(length));
    for (std::size_t i = 0; i < 8; ++i) (void)recordOffset(ByteSpan(bytes).first(length), random() % 300);
  }
}

}  // namespace
}  // namespace nua
