// Texts and values of the outline's columns and tooltips, by column identifier, so a front end only
// draws what it is given.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "view/entry_view_helper.h"

namespace nua {

// Seconds between 1 January 1904 and 1 January 1970, both 00:00:00 GMT.
inline constexpr std::int64_t kSecondsFrom1904To1970 = 2082844800;

// An HFS Plus date (seconds since 1904 GMT) as "%Y-%m-%d %H:%M:%S" in local time; 0 gives " - ".
[[nodiscard]] std::string hfsDateText(std::uint32_t seconds);
// A FAT entry's packed date (date << 16 | time) as "%d-%d-%d %d:%d:%d", or "-" when a field fails its
// test (hour 1..23, masked minute field 1..59, year, month 1..12 and day present).
[[nodiscard]] std::string getStringForDOSDate(std::uint32_t packed);
// A date column: " - " for 0, the FAT form for a FAT entry, else the HFS Plus form.
[[nodiscard]] std::string dateColumnText(std::uint32_t value, bool isFATEntry);

// What the "Files" cell draws.
struct FilesCell {
  std::uint16_t fileType = 0;
  std::u16string fileName;
  std::uint8_t deleted = 0;
  std::uint8_t appendChildrenArrayCount = 0;
  std::uint32_t childListCount = 0;
};
[[nodiscard]] FilesCell filesCell(const EntryViewHelper& item);
// The name as shown: "%@ [%d]" with the child count when the row asks for it.
[[nodiscard]] std::string filesCellText(const EntryViewHelper& item);

// Text of the "Complete", "Size", "Files Count", "Modification Date" and "Create Date" columns; empty
// for any other identifier ("Files" and "Mark" carry values, not text).
[[nodiscard]] std::string columnText(const EntryViewHelper& item, std::string_view identifier);

// How the preview is reached, for the tooltip of a file's name.
struct TooltipContext {
  bool previewVisible = false;
  bool itemIsSelectedRow = false;
  int osVersion = 2;
};
[[nodiscard]] std::string columnToolTip(const EntryViewHelper& item, std::string_view identifier,
                                        const TooltipContext& context);

}  // namespace nua
