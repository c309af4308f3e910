// Size texts, "%@" substitution and UTF-16 conversion.
#include "base/text.h"

#include <gtest/gtest.h>

namespace nua {
namespace {

TEST(SizeText, UsesDecimalUnitsAndTheirLimits) {
  EXPECT_EQ(sizeText(0), "0 KB");
  EXPECT_EQ(sizeText(1), "0.00 KB");
  EXPECT_EQ(sizeText(1500), "1.50 KB");
  EXPECT_EQ(sizeText(999999), "1000.00 KB");
  EXPECT_EQ(sizeText(1000000), "1.00 MB");
  EXPECT_EQ(sizeText(999999999), "1000.00 MB");
  EXPECT_EQ(sizeText(1000000000), "1.00 GB");
  EXPECT_EQ(sizeText(4000000000000ULL), "4000.00 GB");
}

TEST(FormatText, FillsPlaceholdersInOrder) {
  EXPECT_EQ(formatText("%@ in %@ Files", {"3.00 KB", "2"}), "3.00 KB in 2 Files");
  EXPECT_EQ(formatText("a %@ b %@", {"x"}), "a x b %@");
  EXPECT_EQ(formatText("100%", {"x"}), "100%");
}

TEST(Utf16, RoundTripsAndReplacesBrokenUnits) {
  const std::u16string name = u"Fotos \u00e9t\u00e9 \U0001F600.jpg";
  EXPECT_EQ(toUtf16(toUtf8(name)), name);
  EXPECT_EQ(toUtf8(std::u16string(1, char16_t(0xD800))), "\xEF\xBF\xBD");
  EXPECT_EQ(toUtf16("\xC3"), u"\uFFFD");
  EXPECT_EQ(toUtf16("a\xFF" "b"), u"a\uFFFDb");
}

}  // namespace
}  // namespace nua
