// The keyed container: values keep kind and width through a round trip, and damaged input of every
// sort gives a reason rather than a crash or a hang.
#include "archive/keyed_archive.h"

#include <gtest/gtest.h>

#include <random>

namespace nua {
namespace {

KeyedArchive sampleArchive() {
  KeyedObject inner("Sig");
  inner.set("extension", KeyedValue::string("jpg"));
  inner.set("header", KeyedValue::int64(0xFFD8FF));
  KeyedObject outer("SigNode");
  outer.set("fileType", KeyedValue::int32(2));
  outer.set("sig", KeyedValue::object(inner));
  outer.set("children", KeyedValue::array({KeyedValue(), KeyedValue::boolean(true)}));
  outer.set("blob", KeyedValue::bytes({std::byte{1}, std::byte{2}}));
  outer.set("ratio", KeyedValue::real(0.25));
  return KeyedArchive{7, KeyedValue::array({KeyedValue::object(outer), KeyedValue::string("tail")})};
}

TEST(KeyedArchive, RoundTripKeepsStructureAndContentVersion) {
  const auto bytes = writeKeyedArchive(sampleArchive());
  const auto read = readKeyedArchive(bytes);
  ASSERT_TRUE(read.ok()) << read.reason;
  EXPECT_EQ(read.archive->contentVersion, 7u);
  const auto& root = read.archive->root.asArray();
  ASSERT_EQ(root.size(), 2u);
  const KeyedObject* node = root[0].asObject();
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->className(), "SigNode");
  ASSERT_EQ(node->entries().size(), 5u);
  EXPECT_EQ(node->entries()[0].first, "fileType");  // keys keep their order
  EXPECT_EQ(node->find("fileType")->kind(), KeyedKind::kInt32);
  const KeyedObject* sig = node->find("sig")->asObject();
  ASSERT_NE(sig, nullptr);
  EXPECT_EQ(sig->find("extension")->asString(), "jpg");
  EXPECT_EQ(sig->find("header")->asUnsigned(), 0xFFD8FFu);
  EXPECT_TRUE(node->find("children")->asArray()[0].isNull());
  EXPECT_TRUE(node->find("children")->asArray()[1].asBool());
  EXPECT_EQ(node->find("blob")->asBytes().size(), 2u);
  EXPECT_DOUBLE_EQ(node->find("ratio")->asDouble(), 0.25);
  EXPECT_EQ(root[1].asString(), "tail");
  EXPECT_EQ(writeKeyedArchive(*read.archive), bytes);
}

struct WidthCase {
  KeyedKind kind;
  std::uint64_t written;
  std::uint64_t readBack;  // as asUnsigned gives it: signed kinds sign-extend
  std::size_t payloadBytes;
};

class KeyedArchiveWidth : public ::testing::TestWithParam<WidthCase> {};

TEST_P(KeyedArchiveWidth, IntegersKeepTheirWidth) {
  const WidthCase c = GetParam();
  const auto bytes = writeKeyedArchive(KeyedArchive{0, KeyedValue::integer(c.kind, c.written)});
  EXPECT_EQ(bytes.size(), kKeyedArchiveHeaderSize + 1 + c.payloadBytes);
  const auto read = readKeyedArchive(bytes);
  ASSERT_TRUE(read.ok()) << read.reason;
  EXPECT_EQ(read.archive->root.kind(), c.kind);
  EXPECT_EQ(read.archive->root.asUnsigned(), c.readBack);
}

INSTANTIATE_TEST_SUITE_P(
    AllIntegerKinds, KeyedArchiveWidth,
    ::testing::Values(WidthCase{KeyedKind::kInt8, 0x1FF, UINT64_MAX, 1}, WidthCase{KeyedKind::kUInt8, 0x1FF, 0xFF, 1},
                      WidthCase{KeyedKind::kInt16, 0x7FFF, 0x7FFF, 2}, WidthCase{KeyedKind::kUInt16, 0x12345, 0x2345, 2},
                      WidthCase{KeyedKind::kInt32, 0xFFFFFFFF, UINT64_MAX, 4},
                      WidthCase{KeyedKind::kUInt32, 0x1FFFFFFFF, 0xFFFFFFFF, 4},
                      WidthCase{KeyedKind::kInt64, 5, 5, 8}, WidthCase{KeyedKind::kUInt64, UINT64_MAX, UINT64_MAX, 8}));

std::vector<std::byte> withBodyLength(std::vector<std::byte> bytes) {
  if (bytes.size() >= kKeyedArchiveHeaderSize) putLe64(MutableByteSpan(bytes), 16, bytes.size() - kKeyedArchiveHeaderSize);
  return bytes;
}

TEST(KeyedArchive, EveryTruncationFailsCleanly) {
  const auto bytes = writeKeyedArchive(sampleArchive());
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    // With the body length patched to agree, the value decoder itself meets the short input.
    const auto cut = withBodyLength(std::vector<std::byte>(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)));
    const auto read = readKeyedArchive(cut);
    EXPECT_FALSE(read.ok()) << "length " << length;
    EXPECT_FALSE(read.reason.empty());
  }
}

struct DamageCase {
  const char* name;
  std::vector<std::uint8_t> body;  // after the header
  const char* reasonPart;
};

class KeyedArchiveDamage : public ::testing::TestWithParam<DamageCase> {};

TEST_P(KeyedArchiveDamage, GivesAReasonNamingTheField) {
  auto bytes = writeKeyedArchive(KeyedArchive{});
  bytes.resize(kKeyedArchiveHeaderSize);
  for (auto b : GetParam().body) bytes.push_back(static_cast<std::byte>(b));
  const auto read = readKeyedArchive(withBodyLength(bytes));
  ASSERT_FALSE(read.ok());
  EXPECT_NE(read.reason.find(GetParam().reasonPart), std::string::npos) << read.reason;
}

INSTANTIATE_TEST_SUITE_P(
    Fields, KeyedArchiveDamage,
    ::testing::Values(DamageCase{"UnknownTag", {0x7F}, "value tag at 0x18"},
                      DamageCase{"BoolOutOfRange", {0x01, 0x02}, "bool at 0x19"},
                      DamageCase{"HugeArrayCount", {0x0D, 0xFF, 0xFF, 0xFF, 0xFF}, "array count at 0x19"},
                      DamageCase{"HugeStringLength", {0x0B, 0x10, 0, 0, 0, 'a'}, "string length at 0x19"},
                      DamageCase{"ObjectEntriesPastEnd", {0x0E, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0}, "object entry count"},
                      DamageCase{"StrayBytes", {0x00, 0x00}, "stray bytes"}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(KeyedArchive, HeaderDamageIsNamed) {
  const auto good = writeKeyedArchive(sampleArchive());
  auto magic = good;
  magic[0] = std::byte{'X'};
  EXPECT_NE(readKeyedArchive(magic).reason.find("magic"), std::string::npos);
  auto version = good;
  version[8] = std::byte{2};
  EXPECT_NE(readKeyedArchive(version).reason.find("format version"), std::string::npos);
  auto length = good;
  length[16] = std::byte{0xFF};
  EXPECT_NE(readKeyedArchive(length).reason.find("body length"), std::string::npos);
}

TEST(KeyedArchive, NestingDeeperThanTheLimitIsRefused) {
  std::vector<std::uint8_t> body;
  for (std::size_t i = 0; i <= kKeyedArchiveMaxDepth; ++i) body.insert(body.end(), {0x0D, 1, 0, 0, 0});
  body.push_back(0x00);
  auto bytes = writeKeyedArchive(KeyedArchive{});
  bytes.resize(kKeyedArchiveHeaderSize);
  for (auto b : body) bytes.push_back(static_cast<std::byte>(b));
  const auto read = readKeyedArchive(withBodyLength(bytes));
  ASSERT_FALSE(read.ok());
  EXPECT_NE(read.reason.find("nesting"), std::string::npos);
}

TEST(KeyedArchive, MutatedInputAlwaysReturns) {
  const auto good = writeKeyedArchive(sampleArchive());
  std::mt19937 random(20240611);
  for (int round = 0; round < 4000; ++round) {
    auto bytes = good;
    const int flips = 1 + static_cast<int>(random() % 6);
    for (int i = 0; i < flips; ++i) {
      const std::size_t at = kKeyedArchiveHeaderSize + random() % (bytes.size() - kKeyedArchiveHeaderSize);
      bytes[at] = static_cast<std::byte>(random() & 0xFF);
    }
    if (round % 3 == 0) bytes.resize(kKeyedArchiveHeaderSize + random() % (bytes.size() - kKeyedArchiveHeaderSize));
    const auto read = readKeyedArchive(withBodyLength(bytes));
    if (!read.ok()) {
      EXPECT_FALSE(read.reason.empty());
    }
  }
  for (int round = 0; round < 500; ++round) {
    std::vector<std::byte> noise(random() % 200);
    for (auto& b : noise) b = static_cast<std::byte>(random() & 0xFF);
    (void)readKeyedArchive(noise);
  }
}

}  // namespace
}  // namespace nua
