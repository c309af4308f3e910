// Copies of signature rows and the catalog tree's leaf rule.
#include "signature/sig.h"

#include <gtest/gtest.h>

#include "signature/sig_node.h"

namespace nua {
namespace {

Sig jpegRow() {
  Sig sig;
  sig.preInstalled = true;
  sig.categoryID = 3;
  sig.category = "Photos";
  sig.typeOfFile = 1;
  sig.software = "JPEG Image";
  sig.extension = "jpg";
  sig.offset = 0;
  sig.headerLength = 3;
  sig.header = 0xFFD8FF;
  sig.defaultSize = 40;
  sig.userSize = 10;
  sig.foundSize = 123456;
  sig.skipSize = 241;
  sig.skipFileSize = true;
  return sig;
}

void expectSameStoredFields(const Sig& a, const Sig& b) {
  EXPECT_EQ(a.preInstalled, b.preInstalled);
  EXPECT_EQ(a.categoryID, b.categoryID);
  EXPECT_EQ(a.category, b.category);
  EXPECT_EQ(a.typeOfFile, b.typeOfFile);
  EXPECT_EQ(a.software, b.software);
  EXPECT_EQ(a.extension, b.extension);
  EXPECT_EQ(a.offset, b.offset);
  EXPECT_EQ(a.headerLength, b.headerLength);
  EXPECT_EQ(a.header, b.header);
  EXPECT_EQ(a.defaultSize, b.defaultSize);
  EXPECT_EQ(a.userSize, b.userSize);
  EXPECT_EQ(a.foundSize, b.foundSize);
  EXPECT_EQ(a.skipSize, b.skipSize);
  EXPECT_EQ(a.skipFileSize, b.skipFileSize);
}

TEST(SigTest, MutableCopyLeavesOutTheUnstoredArrays) {
  Sig row = jpegRow();
  row.arrayExtNameVariations = {"jpeg", "jpe"};
  row.addToExtraExts(jpegRow());
  const Sig copy = row.mutableCopy();
  expectSameStoredFields(copy, row);
  EXPECT_TRUE(copy.extraExts.empty());
  EXPECT_TRUE(copy.arrayExtNameVariations.empty());
}

TEST(SigTest, AddToExtraExtsKeepsItsOwnCopy) {
  Sig stored = jpegRow();
  Sig other = jpegRow();
  other.extension = "thm";
  other.addToExtraExts(jpegRow());
  stored.addToExtraExts(other);
  other.extension = "changed";

  ASSERT_EQ(stored.extraExts.size(), 1U);
  EXPECT_EQ(stored.extraExts[0].extension, "thm");
  EXPECT_TRUE(stored.extraExts[0].extraExts.empty());
}

TEST(SigNodeTest, LeafHasNoChildrenArrayAndFirstAddCreatesIt) {
  SigNode category;
  category.fileTypeSigNode = SigNode::kCategoryNode;
  EXPECT_FALSE(category.children.has_value());

  auto leaf = std::make_shared<SigNode>();
  leaf->fileTypeSigNode = SigNode::kFileTypeNode;
  leaf->sig = std::make_shared<Sig>(jpegRow());
  category.addChild(leaf);
  ASSERT_TRUE(category.children.has_value());
  ASSERT_EQ(category.children->size(), 1U);
  EXPECT_EQ((*category.children)[0], leaf);
  EXPECT_FALSE(leaf->children.has_value());

  SigNode emptyCategory;
  emptyCategory.children.emplace();
  EXPECT_TRUE(emptyCategory.children.has_value());
  EXPECT_TRUE(emptyCategory.children->empty());
}

}  // namespace
}  // namespace nua
