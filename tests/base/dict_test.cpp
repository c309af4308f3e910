// Dictionaries: typed reads with fallbacks, and their JSON form.
#include "base/dict.h"

#include <gtest/gtest.h>

#include "base/bytes.h"

namespace nua {
namespace {

TEST(Dict, ReadsByKindWithFallbacks) {
  Dict d{{"Size", std::uint64_t{1} << 40}, {"journaled", "Yes"}, {"WhetherVolume", true}, {"Volume Start", -1}};
  EXPECT_EQ(d.uint64("Size"), std::uint64_t{1} << 40);
  EXPECT_EQ(d.string("journaled"), "Yes");
  EXPECT_EQ(d.string("Size", "none"), "none");  // a number is not a string
  EXPECT_TRUE(d.boolean("WhetherVolume"));
  EXPECT_EQ(d.int64("WhetherVolume"), 1);
  EXPECT_EQ(d.int64("missing", 7), 7);
  EXPECT_FALSE(d.has("missing"));
}

TEST(Dict, RendersJsonWithEscapesAndNesting) {
  Dict d{{"name", "a\"b\n"}, {"list", DictArray{1, "x", Dict{{"k", false}}}}};
  EXPECT_EQ(toJson(d), R"({"list": [1, "x", {"k": false}], "name": "a\"b\n"})");
}

TEST(Bytes, ReadAndWriteBothOrders) {
  std::byte buf[8]{};
  putBe32(buf, 0, 0x01020304);
  putLe16(buf, 4, 0xA1B2);
  EXPECT_EQ(be32(buf, 0), 0x01020304u);
  EXPECT_EQ(le32(buf, 0), 0x04030201u);
  EXPECT_EQ(le16(buf, 4), 0xA1B2u);
  EXPECT_EQ(be16(buf, 4), 0xB2A1u);
  EXPECT_TRUE(fits(8, 4, 4));
  EXPECT_FALSE(fits(8, 5, 4));
  EXPECT_FALSE(fits(8, 9, 0));
  EXPECT_FALSE(fits(8, 4, SIZE_MAX));
}

}  // namespace
}  // namespace nua
