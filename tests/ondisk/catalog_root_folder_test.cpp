// The root folder's name read from a first catalog leaf, with truncations, bad fields and mutated
// bytes; the mutation loop also runs the other decoders that discovery reads before it.
#include "ondisk/catalog_root_folder.h"

#include <gtest/gtest.h>

#include "media/media_test_bytes.h"
#include "ondisk/bt_header_record.h"
#include "ondisk/master_directory_block.h"
#include "ondisk/partition_map.h"
#include "ondisk/volume_information_block.h"

namespace nua {
namespace {

using nua::testing::Bytes;

// A first catalog leaf whose first record is the root folder named `name` (ASCII).
Bytes rootLeaf(const std::string& name) {
  Bytes node(1024, std::byte{0});
  put8(node, 8, 0xFF);  // leaf
  put8(node, 9, 1);     // height
  putBe16(node, 10, 1);
  const std::size_t keyLength = 6 + 2 * name.size();
  putBe16(node, 14, static_cast<std::uint16_t>(keyLength));
  putBe32(node, 16, 1);  // parent: the root's parent
  putBe16(node, 20, static_cast<std::uint16_t>(name.size()));
  for (std::size_t i = 0; i < name.size(); ++i) putBe16(node, 22 + 2 * i, static_cast<std::uint16_t>(name[i]));
  const std::size_t record = 14 + keyLength + 2;
  putBe16(node, record, 1);      // folder record
  putBe32(node, record + 8, 2);  // folder ID 2
  return node;
}

TEST(RootFolderName, ReadsTheNameOfTheRootFolder) {
  const auto name = parseRootFolderName(rootLeaf("Macintosh HD"));
  ASSERT_TRUE(name) << name.reason;
  EXPECT_EQ(*name, "Macintosh HD");
}

TEST(RootFolderName, EveryShorterLengthFailsCleanly) {
  const Bytes node = rootLeaf("Data");
  const std::size_t needed = 14 + 6 + 8 + 2 + 12;
  for (std::size_t length = 0; length < needed; ++length)
    EXPECT_FALSE(parseRootFolderName(ByteSpan(node).first(length))) << length;
}

struct FieldCase {
  const char* name;
  std::size_t offset;
  int width;
  std::uint32_t value;
  const char* field;
};

class RootFolderFields : public ::testing::TestWithParam<FieldCase> {};

TEST_P(RootFolderFields, AnUnexpectedValueLeavesTheName) {
  const FieldCase& c = GetParam();
  Bytes node = rootLeaf("Data");
  if (c.width == 1) put8(node, c.offset, static_cast<std::uint8_t>(c.value));
  else if (c.width == 2) putBe16(node, c.offset, static_cast<std::uint16_t>(c.value));
  else putBe32(node, c.offset, c.value);
  const auto name = parseRootFolderName(node);
  EXPECT_FALSE(name);
  EXPECT_NE(name.reason.find(c.field), std::string::npos) << name.reason;
}

INSTANTIATE_TEST_SUITE_P(
    Fields, RootFolderFields,
    ::testing::Values(FieldCase{"indexNode", 8, 1, 0, "kind"}, FieldCase{"height", 9, 1, 2, "kind"},
                      FieldCase{"parent", 16, 4, 2, "parentID"}, FieldCase{"nameLength", 20, 2, 256, "nameLength"},
                      FieldCase{"keyLengthPastNode", 14, 2, 0xFFF0, "folderID"},
                      FieldCase{"fileRecord", 30, 2, 2, "folderID"}, FieldCase{"folderID", 38, 4, 16, "folderID"}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(RootFolderName, MutatedBytesNeverCrash) {
  nua::testing::mutationLoop(rootLeaf("Macintosh HD"), [](ByteSpan b) { (void)parseRootFolderName(b); });
  nua::testing::mutationLoop(Bytes(512, std::byte{0x48}), [](ByteSpan b) {
    (void)parseVolumeInformationBlock(b);
    (void)parseMasterDirectoryBlock(b);
    (void)parseBTHeaderRecord(b);
    (void)parsePartitionMap(b);
    (void)parseDriverDescriptor(b);
  });
}

}  // namespace
}  // namespace nua
