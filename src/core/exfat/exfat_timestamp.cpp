#include "exfat/exfat_timestamp.h"

#include <ctime>

#include "ondisk/fat_dos_date.h"

namespace nua {
namespace {
constexpr std::int64_t kSecondsFrom1904To1970 = 2082844800;
constexpr std::uint8_t kUtcOffsetValid = 0x80;
}  // namespace

std::uint32_t exfatTimestampToHFSSeconds(const ExfatTimestamp& timestamp) {
  const std::uint32_t packed = timestamp.packed;
  std::optional<std::tm> decoded = dosDateTimeFields(static_cast<std::uint16_t>(packed / 65536U),
                                                     static_cast<std::uint16_t>(packed % 65536U));
  if (!decoded) return 0;
  std::tm fields = *decoded;
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
