#include "exfat/exfat_timestamp.h"

#include <ctime>

namespace nua {
namespace {
constexpr std::int64_t kSecondsFrom1904To1970 = 2082844800;
constexpr std::uint8_t kUtcOffsetValid = 0x80;
}  // namespace

std::uint32_t exfatTimestampToHFSSeconds(const ExfatTimestamp& timestamp) {
  const std::uint32_t packed = timestamp.packed;
  const std::uint32_t date = packed / 65536U;
  const std::uint32_t time = packed % 65536U;
  const unsigned day = date % 32U;
  const unsigned month = (date / 32U) % 16U;
  const unsigned year = date / 512U;
  if (date == 0 || day == 0 || month < 1 || month > 12) return 0;
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
  std::int64_t unixTime = 0;
  if ((timestamp.utcOffset & kUtcOffsetValid) != 0) {
    // Bits 0-6 are a two's-complement count of 15-minute steps east of UTC.
    int steps = timestamp.utcOffset % 128;
    if (steps >= 64) steps -= 128;
    const std::time_t asUtc = timegm(&fields);
    if (asUtc == static_cast<std::time_t>(-1)) return 0;
    unixTime = static_cast<std::int64_t>(asUtc) - std::int64_t{steps} * 15 * 60;
  } else {
    fields.tm_isdst = -1;
    const std::time_t local = std::mktime(&fields);
    if (local == static_cast<std::time_t>(-1)) return 0;
    unixTime = static_cast<std::int64_t>(local);
  }
  if (timestamp.tenMilliseconds < 200) unixTime += timestamp.tenMilliseconds / 100;
  const std::int64_t seconds = unixTime + kSecondsFrom1904To1970;
  if (seconds <= 0 || seconds > static_cast<std::int64_t>(UINT32_MAX)) return 0;
  return static_cast<std::uint32_t>(seconds);
}

}  // namespace nua
