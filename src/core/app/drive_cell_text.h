// The five lines a row of the drive list shows for a drive or volume, and the lines of a
// partition list row, as plain text for any front end.
#pragma once

#include <array>
#include <string>

#include "media/rows.h"

namespace nua {

// `LogicalDriveCell`: name (or model, serial and revision of a disk), "Mount Point: %@" with the
// device path, "Type: Volume" or "Type: Disk", the size, and the volume count or file system.
[[nodiscard]] std::array<std::string, 5> logicalDriveCellLines(const DriveRow& row);

// The file system line of a volume by its content and whether it is journaled.
[[nodiscard]] std::string fileSystemLine(const std::string& content, bool journaled);

// "Size: %0.2f KB" (MB, GB) of a byte count, with the limits of the size text.
[[nodiscard]] std::string sizeLine(std::uint64_t bytes);

}  // namespace nua
