// MIDI track walk.
#include "filecheck/mid_file_check.h"

#include <algorithm>

namespace nua {

namespace {
constexpr std::uint64_t kSmallest = 4096;
constexpr std::uint64_t kLongest = 0x7FFFFFF8;
constexpr std::uint64_t kLongFileSize = 0xF00000;
}  // namespace

bool MidFileCheck::isFile(ByteSpan header, std::uint64_t) {
  riffMidiFile_ = false;
  if (headerText(header, 0, "MThd") && headerText(header, 14, "MTrk")) return true;
  if (headerText(header, 0, "RIFF") && headerText(header, 8, "RMID")) {
    riffMidiFile_ = true;
    return true;
  }
  return false;
}

std::uint64_t MidFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  if (headerText(header, 0, "RIFF")) {
    // The RIFF length counts what follows its own eight bytes.
    const std::uint64_t total = static_cast<std::uint64_t>(headerLe32(header, 4)) + 8;
    if (total > kLongest) return kLongFileSize;
    return total < kSmallest ? 0 : total;
  }
  FileWindow window = openWindow(sector);
  const std::uint32_t tracks = std::max<std::uint16_t>(1, window.be16At(10));
  std::uint64_t total = 14;
  for (std::uint32_t track = 0; track < tracks && !window.cancelled(); ++track) {
    if (!window.textAt(total, "MTrk")) {
      if (window.failed()) return 0;
      return total < kSmallest ? 0 : total + 512;
    }
    total += static_cast<std::uint64_t>(window.be32At(total + 4)) + 8;
    if (total > kLongest) return kLongFileSize;
  }
  if (window.failed()) return 0;
  return total < kSmallest ? 0 : total;
}

}  // namespace nua
