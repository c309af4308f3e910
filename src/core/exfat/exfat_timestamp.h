// exFAT timestamps turned into the seconds since 1904 GMT that every record keeps, so exFAT entries
// show and save their dates like any other.
#pragma once

#include <cstdint>

#include "ondisk/exfat_directory_entry.h"

namespace nua {

// The packed date and time plus whole seconds of the 10 ms part. With a valid UTC offset the time is
// taken as local to that offset; without one, as local to this machine, as FAT does. Gives 0 (no
// date) when the date is 0 or a field is out of range; a bad time with a good date counts as midnight.
[[nodiscard]] std::uint32_t exfatTimestampToHFSSeconds(const ExfatTimestamp& timestamp);

}  // namespace nua
