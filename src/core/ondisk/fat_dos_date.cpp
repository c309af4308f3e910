#include "ondisk/fat_dos_date.h"

#include <ctime>

namespace nua {
namespace {
constexpr std::int64_t kSecondsFrom1904To1970 = 2082844800;
}

std::optional<std::tm> dosDateTimeFields(std::uint16_t date, std::uint16_t time) {
  const unsigned day = date % 32U;
  const unsigned month = (date / 32U) % 16U;
  const unsigned year = date / 512U;
  if (date == 0 || day == 0 || month < 1 || month > 12) return std::nullopt;
  unsigned second = (time % 32U) * 2U;
  unsigned minute = (time / 32U) % 64U;
  unsigned hour = time / 2048U;
  if (hour > 23 || minute > 59 || second > 59) hour = minute = second = 0;
  std::tm fields{};
  fields.tm_year = static_cast<int>(year + 80);
  fields.tm_mon = static_cast<int>(month - 1);
  fields.tm_mday = static_cast<int>(day);
  fields.tm_hour = static_cast<int>(hour);
  fields.tm_min = static_cast<int>(minute);
  fields.tm_sec = static_cast<int>(second);
  return fields;
}

std::uint32_t dosDateTimeToHFSSeconds(std::uint16_t date, std::uint16_t time) {
  std::optional<std::tm> fields = dosDateTimeFields(date, time);
  if (!fields) return 0;
  std::tm local = *fields;
  local.tm_isdst = -1;
  const std::time_t unixTime = std::mktime(&local);
  if (unixTime == static_cast<std::time_t>(-1)) return 0;
  const std::int64_t seconds = static_cast<std::int64_t>(unixTime) + kSecondsFrom1904To1970;
  if (seconds <= 0 || seconds > static_cast<std::int64_t>(UINT32_MAX)) return 0;
  return static_cast<std::uint32_t>(seconds);
}

}  // namespace nua
