#include "view/outline_columns.h"

#include <ctime>

#include "base/text.h"

namespace nua {

std::string hfsDateText(std::uint32_t seconds) {
  if (seconds == 0) return " - ";
  const std::time_t unixTime = static_cast<std::time_t>(static_cast<std::int64_t>(seconds) - kSecondsFrom1904To1970);
  std::tm local{};
  if (localtime_r(&unixTime, &local) == nullptr) return " - ";
  char text[64];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return std::string(text, length);
}

std::string getStringForDOSDate(std::uint32_t packed) {
  const std::uint32_t hour = (packed >> 11) & 0x1F;
  const std::uint32_t maskedMinute = packed & 0x7E0;  // tested unshifted: the field's value times 32
  const std::uint32_t year = (packed >> 25) & 0x7F;
  const std::uint32_t month = (packed >> 21) & 0x0F;
  const std::uint32_t day = (packed >> 16) & 0x1F;
  if (hour < 1 || hour > 23 || maskedMinute < 1 || maskedMinute > 59 || year == 0 || month < 1 || month > 12 ||
      day == 0) {
    return "-";
  }
  const std::uint32_t second = (packed * 2) & 62;
  return std::to_string(year + 1980) + "-" + std::to_string(month) + "-" + std::to_string(day) + " " +
         std::to_string(hour) + ":" + std::to_string(maskedMinute >> 5) + ":" + std::to_string(second);
}

std::string dateColumnText(std::uint32_t value, bool isFATEntry) {
  if (value == 0) return " - ";
  return isFATEntry ? getStringForDOSDate(value) : hfsDateText(value);
}

FilesCell filesCell(const EntryViewHelper& item) {
  return {item.fileType(), item.fileName(), item.deleted(), item.appendChildrenArrayCount(), item.childrenArrayCount()};
}

std::string filesCellText(const EntryViewHelper& item) {
  const std::string name = toUtf8(item.fileName());
  if (item.appendChildrenArrayCount() != 1) return name;
  return formatText("%@ [%@]", {name, std::to_string(item.childrenArrayCount())});
}

namespace {

std::string completeText(std::uint8_t complete, bool longForm) {
  switch (complete) {
    case 0: return longForm ? "Not Applicable" : "N.A.";
    case 1: return "Good";
    case 2: return "Bad";
    default: return "";
  }
}

}  // namespace

std::string columnText(const EntryViewHelper& item, std::string_view identifier) {
  if (identifier == "Complete") return completeText(item.complete(), false);
  if (identifier == "Size") return sizeText(item.fileSize());
  if (identifier == "Files Count") return std::to_string(item.fileCount());
  if (identifier == "Modification Date") return dateColumnText(item.modDate(), item.isFATEntry() != 0);
  if (identifier == "Create Date") return dateColumnText(item.createDate(), item.isFATEntry() != 0);
  return "";
}

std::string columnToolTip(const EntryViewHelper& item, std::string_view identifier, const TooltipContext& context) {
  if (identifier == "Mark") return "";
  if (identifier == "Complete") return completeText(item.complete(), true);
  if (identifier != "Files") return columnText(item, identifier);
  const std::string name = filesCellText(item);
  if (item.fileType() != 2) return name;
  if (context.previewVisible) {
    return formatText(context.itemIsSelectedRow ? "%@\nPreview showing" : "%@\nSingle click to preview", {name});
  }
  if (context.osVersion == 1) {
    return formatText("%@\nSelect this file and click \"View File\" button to preview", {name});
  }
  if (context.osVersion == 2 || context.osVersion == 3) return formatText("%@\nDouble click to preview", {name});
  return "";
}

}  // namespace nua
