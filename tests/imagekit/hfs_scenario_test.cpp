// HFS+ scenarios checked from the bytes: same seed gives the same image, deleted entries keep their
// data in free blocks and their records in stale nodes, damage lands where intended, hfs-many is readable.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "base/bytes.h"
#include "imagekit/kit_tool_runner.h"
#include "imagekit/manifest.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {
namespace {

struct Made {
  std::vector<std::byte> image;
  std::string path;
  Manifest manifest;
};

Made make(const std::string& name, std::uint64_t seed = 1, std::map<std::string, std::string> values = {},
          const std::string& tag = "") {
  Made made;
  made.path = test::scratchDirectory("hfs-" + name + tag) + "/volume.img";
  ScenarioOptions options;
  options.seed = seed;
  options.values = std::move(values);
  std::string error;
  const Scenario* scenario = findScenario(name);
  EXPECT_NE(scenario, nullptr);
  EXPECT_TRUE(scenario != nullptr && scenario->make(made.path, options, made.manifest, error)) << error;
  std::ifstream in(made.path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  made.image.resize(bytes.size());
  std::transform(bytes.begin(), bytes.end(), made.image.begin(), [](char c) { return static_cast<std::byte>(c); });
  return made;
}

bool blockAllocated(const Made& made, std::uint64_t block) {
  const ByteSpan image(made.image);
  const std::uint64_t bitmapStart = be32(image, 1024 + 112 + 16);
  const std::uint32_t blockSize = be32(image, 1024 + 40);
  return (u8(image, bitmapStart * blockSize + block / 8) & (0x80u >> (block % 8))) != 0;
}

std::string contentHash(const Made& made, const ManifestEntry& entry) {
  const std::uint32_t blockSize = made.manifest.volumes[0].blockSize;
  std::vector<std::byte> content;
  for (const auto& [start, count] : entry.extents) {
    const auto first = made.image.begin() + static_cast<std::ptrdiff_t>(start * blockSize);
    content.insert(content.end(), first, first + static_cast<std::ptrdiff_t>(count * blockSize));
  }
  content.resize(entry.size);
  return sha256Hex(content);
}

TEST(HfsDeterminism, SameSeedSameBytesOtherSeedOtherBytes) {
  const Made a = make("hfs-journal-deleted", 5, {}, "a");
  const Made b = make("hfs-journal-deleted", 5, {}, "b");
  const Made c = make("hfs-journal-deleted", 6, {}, "c");
  EXPECT_EQ(sha256Hex(a.image), sha256Hex(b.image));
  EXPECT_NE(sha256Hex(a.image), sha256Hex(c.image));
  EXPECT_EQ(toJson(a.manifest), toJson(b.manifest));
}

TEST(HfsJournalDeleted, DeletedDataSitsInFreeBlocksAndRecordsInStaleNodes) {
  const Made made = make("hfs-journal-deleted");
  const ManifestVolume& volume = made.manifest.volumes.at(0);
  const ByteSpan image(made.image);
  const auto journalStart = volume.extra.at("journal").at("volumeByteOffset").get<std::uint64_t>();
  EXPECT_EQ(le32(image, journalStart), 0x4a4e4c78u);
  EXPECT_EQ(le64(image, journalStart + 8), le64(image, journalStart + 16));  // start == end: empty journal
  int deleted = 0;
  for (const ManifestEntry& e : volume.entries) {
    if (!e.deleted) continue;
    ++deleted;
    EXPECT_EQ(e.foundIn, "journal");
    for (const auto& [start, count] : e.extents) {
      for (std::uint64_t b = start; b < start + count; ++b) EXPECT_FALSE(blockAllocated(made, b)) << e.path;
    }
    if (!e.folder) {
      EXPECT_EQ(contentHash(made, e), e.sha256) << e.path;
    }
  }
  EXPECT_EQ(deleted, 6);
  bool sawOlder = false;
  for (const auto& node : volume.extra.at("staleNodes")) {
    const auto at = node.at("volumeByteOffset").get<std::uint64_t>();
    EXPECT_EQ(at % volume.sectorSize, 0u);
    EXPECT_EQ(u8(image, at + 8), 0xFFu);  // leaf
    EXPECT_GT(be16(image, at + 10), 0u);
    sawOlder = sawOlder || node.at("older").get<bool>();
  }
  EXPECT_TRUE(sawOlder);
}

TEST(HfsJournalExtents, OverflowLeafOfTheDeletedFileIsInTheJournal) {
  const Made made = make("hfs-journal-extents");
  const auto& stale = made.manifest.volumes.at(0).extra.at("staleNodes");
  const bool hasExtents = std::any_of(stale.begin(), stale.end(), [](const auto& n) { return n.at("tree") == "extents"; });
  EXPECT_TRUE(hasExtents);
  for (const ManifestEntry& e : made.manifest.volumes[0].entries) {
    if (e.deleted && !e.folder) {
      EXPECT_GT(e.extents.size(), 8u);
      EXPECT_EQ(contentHash(made, e), e.sha256);
    }
  }
}

TEST(HfsReformatted, OldLeavesLieInFreeSpaceUnderAnEmptyCatalog) {
  const Made made = make("hfs-reformatted");
  const ManifestVolume& volume = made.manifest.volumes.at(0);
  EXPECT_EQ(be32(made.image, 1024 + 32), 0u);  // no live files
  const auto& stale = volume.extra.at("staleNodes");
  ASSERT_FALSE(stale.empty());
  for (const auto& node : stale) {
    const auto at = node.at("volumeByteOffset").get<std::uint64_t>();
    EXPECT_EQ(u8(made.image, at + 8), 0xFFu);
    EXPECT_FALSE(blockAllocated(made, at / volume.blockSize));
  }
  for (const ManifestEntry& e : volume.entries) {
    if (!e.path.empty()) {
      EXPECT_EQ(e.foundIn, "free-space") << e.path;
    }
  }
}

TEST(HfsDamage, EachScenarioBreaksOnlyItsStructure) {
  const Made header = make("hfs-damaged-header");
  EXPECT_EQ(be16(header.image, 1024), 0u);
  EXPECT_EQ(be16(header.image, header.image.size() - 1024), 0x482Bu);

  const Made catalog = make("hfs-damaged-catalog");
  const auto& file = catalog.manifest.volumes[0].extra.at("catalogFile");
  const std::uint64_t nodeAt = file.at("extents").at(0).at(0).get<std::uint64_t>() * catalog.manifest.volumes[0].blockSize;
  EXPECT_EQ(be16(catalog.image, nodeAt + 32), 0u);  // header record's node size gone

  const Made loop = make("hfs-flink-loop");
  const auto& tree = loop.manifest.volumes[0].extra.at("catalogFile");
  EXPECT_GE(tree.at("depth").get<int>(), 2);
}

TEST(HfsMany, SmallRunListsEveryFile) {
  if (!test::toolAvailable("fls")) GTEST_SKIP() << "fls (sleuthkit) not installed";
  const Made made = make("hfs-many", 1, {{"files", "3000"}});
  const ManifestVolume& volume = made.manifest.volumes.at(0);
  EXPECT_EQ(volume.entries.size(), 3000u + 12u);
  int code = 0;
  const std::string listing = test::runTool({"fls", "-r", "-p", made.path}, code);
  ASSERT_EQ(code, 0);
  std::istringstream lines(listing);
  std::size_t userEntries = 0;
  for (std::string line; std::getline(lines, line);) userEntries += line.find("\t$") == std::string::npos ? 1 : 0;
  EXPECT_EQ(userEntries, 3000u + 11u);
  for (std::size_t i = 12; i < volume.entries.size(); i += 997) {
    const ManifestEntry& e = volume.entries[i];
    const std::string content = test::runTool({"icat", made.path, std::to_string(e.id)}, code);
    EXPECT_EQ(sha256Hex(std::as_bytes(std::span(content))), e.sha256) << e.path;
  }
}

}  // namespace
}  // namespace nua::imagekit
