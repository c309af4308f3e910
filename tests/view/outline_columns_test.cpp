// Column texts: dates from the 1904 epoch, FAT dates, the count suffix and the tooltips.
#include "view/outline_columns.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "view_test_tree.h"

namespace nua {
namespace {

using testing_view::TestTree;

class OutlineColumnsTest : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
  }
};

TEST_F(OutlineColumnsTest, HfsDatesCountFrom1904) {
  EXPECT_EQ(hfsDateText(0), " - ");
  EXPECT_EQ(hfsDateText(2082844800), "1970-01-01 00:00:00");
  EXPECT_EQ(hfsDateText(3786912000), "2024-01-01 00:00:00");
  EXPECT_EQ(dateColumnText(1, false), "1904-01-01 00:00:01");
}

TEST_F(OutlineColumnsTest, FatDatesPassOnlyWhatTheirTestsLetThrough) {
  // 2023-06-15 10:01:04: date (43 << 9 | 6 << 5 | 15) above, time (10 << 11 | 1 << 5 | 2) below.
  const std::uint32_t packed = ((43u << 9 | 6u << 5 | 15u) << 16) | (10u << 11 | 1u << 5 | 2u);
  EXPECT_EQ(getStringForDOSDate(packed), "2023-6-15 10:1:4");
  EXPECT_EQ(getStringForDOSDate(packed & 0xFFFF), "-");                 // no year
  EXPECT_EQ(getStringForDOSDate((packed & ~0xF800u)), "-");             // hour 0
  EXPECT_EQ(getStringForDOSDate((packed & ~0x7E0u) | (2u << 5)), "-");  // masked minute field 64
  EXPECT_EQ(dateColumnText(0, true), " - ");
}

TEST_F(OutlineColumnsTest, ColumnsAndTooltipsOfAFileAndAFileTypesFolder) {
  TestTree tree;
  Entry* file = tree.file(tree.root, u"photo.jpg", 1500);
  file->complete = 2;
  EntryViewHelper helper(file);
  EXPECT_EQ(columnText(helper, "Size"), "1.50 KB");
  EXPECT_EQ(columnText(helper, "Complete"), "Bad");
  EXPECT_EQ(columnText(helper, "Files Count"), "1");
  EXPECT_EQ(columnToolTip(helper, "Mark", {}), "");
  EXPECT_EQ(columnToolTip(helper, "Files", {}), "photo.jpg\nDouble click to preview");
  EXPECT_EQ(columnToolTip(helper, "Files", {true, true, 2}), "photo.jpg\nPreview showing");
  EXPECT_EQ(columnToolTip(helper, "Files", {false, false, 4}), "");

  EntryViewHelper folder(tree.root, 1);
  folder.setFileName(u"jpg");
  EXPECT_EQ(filesCellText(folder), "jpg [1]");
  EXPECT_EQ(columnToolTip(folder, "Files", {}), "jpg [1]");
  EXPECT_EQ(columnToolTip(folder, "Complete", {}), "Not Applicable");
}

TEST_F(OutlineColumnsTest, ExtensionIsTheLastPieceOrTheWholeName) {
  EXPECT_EQ(extensionOfName(u"a.b.c"), u"c");
  EXPECT_EQ(extensionOfName(u"README"), u"README");
  EXPECT_EQ(extensionOfName(u"a."), u"");
}

}  // namespace
}  // namespace nua
