// The signature table merges rows that share a header key on insert, never on lookup.
#include "signature/signature_table.h"

#include <gtest/gtest.h>

#include <vector>

namespace nua {
namespace {

Sig row(const char* extension, std::uint64_t header) {
  Sig sig;
  sig.extension = extension;
  sig.header = header;
  sig.headerLength = 4;
  return sig;
}

TEST(SignatureTableTest, SecondRowWithSameKeyJoinsTheFirstRowsExtraExts) {
  Sig tiff = row("tif", 0x49492A00);
  Sig cr2 = row("cr2", 0x49492A00);
  Sig nef = row("nef", 0x49492A00);
  Sig png = row("png", 0x89504E47);
  SignatureTable table;
  table.insert({tiff.header, &tiff});
  table.insert({png.header, &png});
  table.insert({cr2.header, &cr2});
  table.insert({nef.header, &nef});

  const SignatureItem* item = table.retrieveKeyField(0x49492A00);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->sig, &tiff);
  ASSERT_EQ(tiff.extraExts.size(), 2U);
  EXPECT_EQ(tiff.extraExts[0].extension, "cr2");
  EXPECT_EQ(tiff.extraExts[1].extension, "nef");
  EXPECT_TRUE(png.extraExts.empty());
  EXPECT_EQ(table.numItems(), 4);
}

TEST(SignatureTableTest, LookupsAndRowlessDuplicatesDoNotMerge) {
  Sig gif = row("gif", 0x47494638);
  SignatureTable table;
  table.insert({gif.header, &gif});
  table.insert({gif.header, nullptr});
  for (int lookup = 0; lookup < 3; ++lookup) ASSERT_NE(table.retrieveKeyField(gif.header), nullptr);
  EXPECT_TRUE(gif.extraExts.empty());
}

TEST(SignatureTableTest, MergesFindTheStoredRowDeepInTheTable) {
  std::vector<Sig> rows;
  rows.reserve(200);
  for (std::uint64_t key = 0; key < 100; ++key) rows.push_back(row("a", key * 3));
  for (std::uint64_t key = 0; key < 100; ++key) rows.push_back(row("b", key * 3));
  SignatureTable table;
  for (Sig& sig : rows) table.insert({sig.header, &sig});
  for (std::size_t index = 0; index < 100; ++index) {
    ASSERT_EQ(rows[index].extraExts.size(), 1U) << index;
    EXPECT_EQ(rows[index].extraExts[0].extension, "b");
    EXPECT_EQ(table.retrieveKeyField(rows[index].header)->sig, &rows[index]);
  }
}

}  // namespace
}  // namespace nua
