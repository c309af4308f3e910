// The signature tables over the shipped catalogs: one table per offset and length pair, merged rows,
// and a flat index that answers every lookup exactly as the key table does.
#include "signature/signature_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <utility>

#include "signature/sig_archive.h"

namespace nua {
namespace {

SigRootArray loadCatalog(const char* name) {
  std::ifstream file(std::filesystem::path(NUA_TEST_SIG_DATA_DIR) / name, std::ios::binary);
  std::vector<char> chars((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::vector<std::byte> bytes(chars.size());
  std::transform(chars.begin(), chars.end(), bytes.begin(), [](char c) { return static_cast<std::byte>(c); });
  SigRootResult result = decodeSigRootArray(bytes);
  EXPECT_TRUE(result.ok()) << name << ": " << result.reason;
  return result.ok() ? *result.root : SigRootArray{};
}

std::vector<const Sig*> allRows(const SigRootArray& root) {
  std::vector<const Sig*> rows;
  for (const auto& category : root) {
    if (!category->children) continue;
    for (const auto& node : *category->children) {
      if (node->sig) rows.push_back(node->sig.get());
    }
  }
  return rows;
}

class ShippedCatalogTables : public testing::TestWithParam<const char*> {};

TEST_P(ShippedCatalogTables, FlatIndexAgreesWithTheKeyTableOnEveryHeaderAndRandomBytes) {
  const SigRootArray root = loadCatalog(GetParam());
  const std::vector<const Sig*> rows = allRows(root);
  ASSERT_GT(rows.size(), 20U);
  SignatureTables tables;
  tables.populate(rows);

  std::set<std::pair<std::uint16_t, std::uint8_t>> pairs;
  for (const Sig* row : rows) pairs.insert({row->offset, row->headerLength});
  ASSERT_EQ(tables.groups().size(), pairs.size());
  // In order of first appearance.
  EXPECT_EQ(tables.groups().front().offset, rows.front()->offset);
  EXPECT_EQ(tables.groups().front().headerLength, rows.front()->headerLength);

  std::size_t merged = 0;
  for (const SignatureTableGroup& group : tables.groups()) {
    for (const Sig* row : rows) {
      if (row->offset != group.offset || row->headerLength != group.headerLength) continue;
      const SignatureItem* item = group.table->retrieveKeyField(row->header);
      ASSERT_NE(item, nullptr) << row->extension;
      EXPECT_EQ(group.index.find(row->header), item->sig) << row->extension;
      merged += item->sig->extraExts.size();
    }
  }
  EXPECT_GT(merged, 0U) << "the catalogs share headers (TIFF and its RAW kin)";

  std::mt19937_64 random(20);
  std::vector<std::byte> sector(512);
  for (int round = 0; round < 20000; ++round) {
    for (std::byte& b : sector) b = static_cast<std::byte>(random());
    // Half the rounds start with a real header so the binary search, not only the mask, is tried.
    if (round % 2 == 0) {
      const Sig* row = rows[random() % rows.size()];
      for (std::size_t i = 0; i < row->headerLength && row->offset + i < sector.size(); ++i) {
        sector[row->offset + i] = static_cast<std::byte>(row->header >> (8U * (row->headerLength - 1U - i)));
      }
      if (round % 4 == 0) sector[row->offset + row->headerLength - 1U] ^= std::byte{1};
    }
    for (const SignatureTableGroup& group : tables.groups()) {
      const std::uint64_t key = headerKeyAt(sector, group.offset, group.headerLength);
      const SignatureItem* item = group.table->retrieveKeyField(key);
      ASSERT_EQ(group.index.find(key), item == nullptr ? nullptr : item->sig) << std::hex << key;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllModes, ShippedCatalogTables, testing::Values("Sig_FR.dat", "Sig_PR.dat", "Sig_AL.dat"));

TEST(SignatureTables, RowsWithTheSameHeaderMergeIntoOwnCopiesAndLeaveTheCatalogAlone) {
  Sig tiff;
  tiff.extension = "tif";
  tiff.headerLength = 4;
  tiff.header = 0x49492A00;
  Sig cr2 = tiff;
  cr2.extension = "cr2";
  Sig mp3;
  mp3.extension = "mp3";
  mp3.headerLength = 2;
  mp3.header = 0x4944;
  SignatureTables tables;
  tables.populate({&tiff, &mp3, &cr2});
  ASSERT_EQ(tables.groups().size(), 2U);
  const Sig* stored = tables.groups()[0].index.find(0x49492A00);
  ASSERT_NE(stored, nullptr);
  EXPECT_NE(stored, &tiff);
  ASSERT_EQ(stored->extraExts.size(), 1U);
  EXPECT_EQ(stored->extraExts[0].extension, "cr2");
  EXPECT_TRUE(tiff.extraExts.empty());
  EXPECT_EQ(tables.groups()[1].index.find(0x4944)->extension, "mp3");
  EXPECT_EQ(tables.groups()[1].index.find(0x4945), nullptr);
}

TEST(SignatureTables, HeaderKeysPastTheBufferEndReadAsZero) {
  const std::vector<std::byte> bytes{std::byte{0x12}, std::byte{0x34}, std::byte{0x56}};
  EXPECT_EQ(headerKeyAt(bytes, 0, 2), 0x1234U);
  EXPECT_EQ(headerKeyAt(bytes, 1, 4), 0x34560000U);
  EXPECT_EQ(headerKeyAt(bytes, 1024, 8), 0U);
  EXPECT_EQ(headerKeyAt(bytes, 0, 0), 0U);
}

}  // namespace
}  // namespace nua
