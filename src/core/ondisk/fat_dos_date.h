// FAT's packed local date and time, turned into the seconds since 1904 GMT that every record keeps,
// so FAT entries show and save their dates like any other.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

namespace nua {

// Date: bits 9-15 year since 1980, 5-8 month, 0-4 day. Time: bits 11-15 hour, 5-10 minute, 0-4
// seconds / 2. The fields are local time, as FAT keeps no zone. Gives 0 (no date) when the date is 0
// or a field is out of range; a bad time with a good date counts as midnight.
[[nodiscard]] std::uint32_t dosDateTimeToHFSSeconds(std::uint16_t date, std::uint16_t time);

// The calendar fields of the same packed pair (exFAT keeps the layout too), zone left to the caller;
// nothing where the conversion above gives 0 for the date.
[[nodiscard]] std::optional<std::tm> dosDateTimeFields(std::uint16_t date, std::uint16_t time);

}  // namespace nua
