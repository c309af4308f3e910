#include "app/drive_cell_text.h"

#include <cstdio>

#include "base/text.h"

namespace nua {

std::string sizeLine(std::uint64_t bytes) {
  // The size text's limits, always with two decimals: a cell never shows a bare "0 KB".
  char text[64];
  const auto value = static_cast<float>(bytes);
  if (bytes <= 999999ULL) std::snprintf(text, sizeof text, "Size: %0.2f KB", static_cast<double>(value / 1000.0f));
  else if (bytes <= 999999999ULL) std::snprintf(text, sizeof text, "Size: %0.2f MB", static_cast<double>(value / 1000000.0f));
  else std::snprintf(text, sizeof text, "Size: %0.2f GB", static_cast<double>(value / 1000000000.0f));
  return text;
}

std::string fileSystemLine(const std::string& content, bool journaled) {
  if (content == "Apple_HFS") return journaled ? "File System: Mac OS Extended (Journaled)" : "File System: Mac OS Extended";
  if (content == "Apple_HFSX")
    return journaled ? "File System: Mac OS Extended (Case Sensitive, Journaled)"
                     : "File System: Mac OS Extended (Case Sensitive)";
  if (content == "FAT12" || content == "FAT16" || content == "FAT32" || content == "exFAT") return "File System: " + content;
  return "File System: -";
}

std::array<std::string, 5> logicalDriveCellLines(const DriveRow& row) {
  std::array<std::string, 5> lines;
  lines[0] = row.isVolume ? row.volumeName : formatText("%@ %@ %@", {row.model, row.serial, row.revision});
  lines[1] = formatText("Mount Point: %@", {row.path});
  lines[2] = row.isVolume ? "Type: Volume" : "Type: Disk";
  lines[3] = sizeLine(row.sizeBytes.value_or(0));
  if (row.isVolume) {
    lines[4] = fileSystemLine(row.content, row.journaled == "Yes");
  } else {
    lines[4] = "Volumes Contained: " + std::to_string(row.childVolumes.size());
  }
  return lines;
}

}  // namespace nua
