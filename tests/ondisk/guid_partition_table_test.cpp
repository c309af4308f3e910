// The GPT header and entry decoders: a good decode, every truncation, the header fields that would
// make the walk divide by zero or read past a sector, and mutated bytes.
#include <gtest/gtest.h>

#include "media/media_test_bytes.h"
#include "ondisk/guid_partition_table_entry.h"
#include "ondisk/guid_partition_table_header.h"

namespace nua {
namespace {

using testing::Bytes;

Bytes header(std::uint32_t count = 128, std::uint32_t entrySize = 128) {
  Bytes b(512, std::byte{0});
  testing::putText(b, 0, "EFI PART");
  putLe64(b, 72, 2);
  putLe32(b, 80, count);
  putLe32(b, 84, entrySize);
  return b;
}

Bytes hfsEntry(const std::u16string& name) {
  Bytes b(128, std::byte{0});
  const std::uint8_t type[16] = {0x00, 0x53, 0x46, 0x48, 0x00, 0x00, 0xAA, 0x11,
                                 0xAA, 0x11, 0x00, 0x30, 0x65, 0x43, 0xEC, 0xAC};
  for (std::size_t i = 0; i < 16; ++i) put8(b, i, type[i]);
  putLe64(b, 32, 2048);
  putLe64(b, 40, 4095);
  for (std::size_t i = 0; i < name.size(); ++i) putLe16(b, 56 + 2 * i, name[i]);
  return b;
}

TEST(GUIDPartitionTableHeader, DecodesTheArrayLocation) {
  const auto h = parseGUIDPartitionTableHeader(header());
  ASSERT_TRUE(h);
  EXPECT_EQ(h->signature, kGptSignature);
  EXPECT_EQ(h->partitionEntryLba, 2u);
  EXPECT_EQ(h->numberOfPartitionEntries, 128u);
  EXPECT_EQ(h->sizeOfPartitionEntry, 128u);
  EXPECT_TRUE(isWalkableGptHeader(*h, 512));
}

TEST(GUIDPartitionTableHeader, EveryShorterLengthFails) {
  const Bytes b = header();
  for (std::size_t length = 0; length < kGUIDPartitionTableHeaderSize; ++length)
    EXPECT_FALSE(parseGUIDPartitionTableHeader(ByteSpan(b).first(length))) << length;
}

struct HeaderCase {
  const char* name;
  std::uint32_t count;
  std::uint32_t entrySize;
  std::uint32_t sectorSize;
  bool signature;
  const char* field;
};

class GptHeaderFields : public ::testing::TestWithParam<HeaderCase> {};

TEST_P(GptHeaderFields, OutOfRangeValuesGiveNoWalk) {
  const HeaderCase& c = GetParam();
  Bytes b = header(c.count, c.entrySize);
  if (!c.signature) testing::putText(b, 0, "EFI PARX");
  const auto h = parseGUIDPartitionTableHeader(b);
  ASSERT_TRUE(h);
  std::string reason;
  EXPECT_FALSE(isWalkableGptHeader(*h, c.sectorSize, &reason));
  EXPECT_NE(reason.find(c.field), std::string::npos) << reason;
}

INSTANTIATE_TEST_SUITE_P(
    Fields, GptHeaderFields,
    ::testing::Values(HeaderCase{"signature", 128, 128, 512, false, "signature"},
                      HeaderCase{"noEntries", 0, 128, 512, true, "numberOfPartitionEntries"},
                      HeaderCase{"zeroEntrySize", 128, 0, 512, true, "sizeOfPartitionEntry"},
                      HeaderCase{"entryBelowRecord", 128, 64, 512, true, "sizeOfPartitionEntry"},
                      HeaderCase{"entryPastSector", 128, 1024, 512, true, "sizeOfPartitionEntry"}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(GUIDPartitionTableEntry, DecodesTypeRangeAndNameWithoutTrailingNuls) {
  const auto e = parseGUIDPartitionTableEntry(hfsEntry(u"Macintosh HD"));
  ASSERT_TRUE(e);
  EXPECT_EQ(e->typeHigh, kGptHfsPlusTypeHigh);
  EXPECT_EQ(e->typeLow, kGptHfsPlusTypeLow);
  EXPECT_EQ(e->firstLba, 2048u);
  EXPECT_EQ(e->lastLba, 4095u);
  EXPECT_EQ(e->name, u"Macintosh HD");
  EXPECT_EQ(gptTypeText(hfsEntry(u"")), "48465300-0000-11AA-AA11-00306543ECAC");
}

TEST(GUIDPartitionTableEntry, AFullLengthNameKeepsAllUnits) {
  const std::u16string name(36, u'x');
  EXPECT_EQ(parseGUIDPartitionTableEntry(hfsEntry(name))->name, name);
}

TEST(GUIDPartitionTableEntry, EveryShorterLengthFails) {
  const Bytes b = hfsEntry(u"a");
  for (std::size_t length = 0; length < kGUIDPartitionTableEntrySize; ++length)
    EXPECT_FALSE(parseGUIDPartitionTableEntry(ByteSpan(b).first(length))) << length;
}

TEST(GUIDPartitionTable, MutatedBytesNeverCrash) {
  testing::mutationLoop(header(), [](ByteSpan b) {
    if (const auto h = parseGUIDPartitionTableHeader(b)) (void)isWalkableGptHeader(*h, 512);
  });
  testing::mutationLoop(hfsEntry(u"Macintosh HD"), [](ByteSpan b) {
    (void)parseGUIDPartitionTableEntry(b);
    (void)gptTypeText(b);
  });
}

}  // namespace
}  // namespace nua
