// Signature rows and nodes through the keyed container: the 14 keys, their widths, the tree, and
// damaged files.
#include "signature/sig_archive.h"

#include <gtest/gtest.h>

#include <random>

namespace nua {
namespace {

Sig fullRow() {
  Sig sig;
  sig.preInstalled = true;
  sig.skipFileSize = true;
  sig.categoryID = 200;
  sig.category = "Images";
  sig.typeOfFile = 3;
  sig.software = "JPEG Image";
  sig.extension = "jpg";
  sig.offset = 1024;
  sig.headerLength = 3;
  sig.header = 0xFFD8FF;
  sig.defaultSize = 4000;
  sig.userSize = 0x100000000ull;
  sig.foundSize = 123456789012ull;
  sig.skipSize = 77;
  return sig;
}

TEST(SigArchive, TheFourteenKeysInOrderWithTheirWidths) {
  const KeyedObject object = encodeSig(fullRow());
  EXPECT_EQ(object.className(), "Sig");
  const std::vector<std::pair<std::string, KeyedKind>> expected = {
      {"preInstalled", KeyedKind::kBool}, {"skipFileSize", KeyedKind::kBool}, {"categoryID", KeyedKind::kInt32},
      {"category", KeyedKind::kString},   {"typeOfFile", KeyedKind::kInt32},  {"software", KeyedKind::kString},
      {"extension", KeyedKind::kString},  {"offset", KeyedKind::kInt32},      {"headerLength", KeyedKind::kInt32},
      {"header", KeyedKind::kInt64},      {"defaultSize", KeyedKind::kInt32}, {"userSize", KeyedKind::kInt64},
      {"foundSize", KeyedKind::kInt64},   {"skipSize", KeyedKind::kInt64}};
  ASSERT_EQ(object.entries().size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(object.entries()[i].first, expected[i].first);
    EXPECT_EQ(object.entries()[i].second.kind(), expected[i].second) << expected[i].first;
  }
}

TEST(SigArchive, RowRoundTrip) {
  std::string reason;
  const auto back = decodeSig(encodeSig(fullRow()), reason);
  ASSERT_TRUE(back) << reason;
  const Sig a = fullRow();
  EXPECT_EQ(back->preInstalled, a.preInstalled);
  EXPECT_EQ(back->skipFileSize, a.skipFileSize);
  EXPECT_EQ(back->categoryID, a.categoryID);
  EXPECT_EQ(back->typeOfFile, a.typeOfFile);
  EXPECT_EQ(back->software, a.software);
  EXPECT_EQ(back->offset, a.offset);
  EXPECT_EQ(back->headerLength, a.headerLength);
  EXPECT_EQ(back->header, a.header);
  EXPECT_EQ(back->defaultSize, a.defaultSize);
  EXPECT_EQ(back->userSize, a.userSize);
  EXPECT_EQ(back->foundSize, a.foundSize);
  EXPECT_EQ(back->skipSize, a.skipSize);
}

TEST(SigArchive, NumbersAreMaskedToTheirFieldsOnReading) {
  KeyedObject object("Sig");
  object.set("categoryID", KeyedValue::int32(0x1FF));
  object.set("offset", KeyedValue::int64(0x10401));
  object.set("headerLength", KeyedValue::int32(-1));
  object.set("typeOfFile", KeyedValue::int64(0x100000010ll));
  std::string reason;
  const auto sig = decodeSig(object, reason);
  ASSERT_TRUE(sig) << reason;
  EXPECT_EQ(sig->categoryID, 0xFF);
  EXPECT_EQ(sig->offset, 0x0401);
  EXPECT_EQ(sig->headerLength, 0xFF);
  EXPECT_EQ(sig->typeOfFile, 0x10u);
}

TEST(SigArchive, WrongKindsAndClassesGiveReasons) {
  std::string reason;
  KeyedObject wrongClass("NSObject");
  EXPECT_FALSE(decodeSig(wrongClass, reason));
  EXPECT_NE(reason.find("Sig"), std::string::npos);
  KeyedObject wrongKind("Sig");
  wrongKind.set("extension", KeyedValue::int32(3));
  EXPECT_FALSE(decodeSig(wrongKind, reason));
  EXPECT_NE(reason.find("extension"), std::string::npos);
}

TEST(SigArchive, TreeRoundTripKeepsLeavesApartFromEmptyCategories) {
  auto category = std::make_shared<SigNode>();
  category->fileTypeSigNode = SigNode::kCategoryNode;
  category->category = "Images";
  auto leaf = std::make_shared<SigNode>();
  leaf->fileTypeSigNode = SigNode::kFileTypeNode;
  leaf->category = "Images";
  leaf->selected = 1;
  leaf->sig = std::make_shared<Sig>(fullRow());
  category->addChild(leaf);
  auto empty = std::make_shared<SigNode>();
  empty->fileTypeSigNode = SigNode::kCategoryNode;
  empty->category = "Mine";
  empty->children.emplace();
  const auto back = decodeSigRootArray(encodeSigRootArray({category, empty}));
  ASSERT_TRUE(back.ok()) << back.reason;
  ASSERT_EQ(back.root->size(), 2u);
  const auto& images = *(*back.root)[0];
  ASSERT_TRUE(images.children);
  ASSERT_EQ(images.children->size(), 1u);
  EXPECT_FALSE((*images.children)[0]->children);  // a leaf has none, not an empty array
  EXPECT_EQ((*images.children)[0]->selected, 1);
  EXPECT_EQ((*images.children)[0]->sig->extension, "jpg");
  EXPECT_FALSE(images.sig);
  ASSERT_TRUE((*back.root)[1]->children);
  EXPECT_TRUE((*back.root)[1]->children->empty());
}

TEST(SigArchive, DamagedFilesGiveNoNodesAndNeverCrash) {
  EXPECT_FALSE(decodeSigRootArray({}).ok());
  const auto notArray = writeKeyedArchive(KeyedArchive{1, KeyedValue::string("x")});
  EXPECT_FALSE(decodeSigRootArray(notArray).ok());
  auto category = std::make_shared<SigNode>();
  category->category = "Audio";
  auto leaf = std::make_shared<SigNode>();
  leaf->sig = std::make_shared<Sig>(fullRow());
  category->addChild(leaf);
  const auto good = encodeSigRootArray({category});
  std::mt19937 random(611);
  for (int round = 0; round < 2000; ++round) {
    auto bytes = good;
    bytes[kKeyedArchiveHeaderSize + random() % (bytes.size() - kKeyedArchiveHeaderSize)] =
        static_cast<std::byte>(random() & 0xFF);
    (void)decodeSigRootArray(bytes);
  }
}

}  // namespace
}  // namespace nua
