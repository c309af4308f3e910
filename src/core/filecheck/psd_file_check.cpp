// Photoshop size estimate and zero-run refinement.
#include "filecheck/psd_file_check.h"

#include <algorithm>

namespace nua {

double psdCoefficient(std::uint16_t colourMode, std::uint16_t depth) {
  const auto f = [](float value) { return static_cast<double>(value); };
  switch (colourMode) {
    case 0: return depth == 1 ? f(648.0f) : 0.0;
    case 1: case 2: case 7: case 8:
      if (depth == 8) return f(5181.44f);
      if (depth == 16) return f(10342.4f);
      if (depth == 32) return f(20787.2f);
      return 0.0;
    case 3:
      if (depth == 8) return f(15564.8f);
      if (depth == 16) return f(31129.6f);
      if (depth == 32) return f(62259.2f);
      return 0.0;
    case 4:
      if (depth == 8) return f(20787.2f);
      if (depth == 16) return f(41574.4f);
      return 0.0;
    case 9:
      if (depth == 8) return f(15564.8f);
      if (depth == 16) return f(31129.6f);
      return 0.0;
    default: return 0.0;
  }
}

bool PsdFileCheck::isFile(ByteSpan header, std::uint64_t) {
  return headerText(header, 0, "8BPS") && fits(header.size(), 8, 4) && headerBe32(header, 8) == 0 &&
         headerBe16(header, 4) == 1;
}

std::uint64_t PsdFileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const std::uint32_t height = window.be32At(14);
  const std::uint32_t width = window.be32At(18);
  const std::uint16_t depth = window.be16At(22);
  const std::uint16_t mode = window.be16At(24);
  if (window.failed() || height == 0 || width == 0) return 0;
  const double longSide = std::max(height, width);
  const double shortSide = std::min(height, width);
  const double estimate = psdCoefficient(mode, depth) * (longSide / 72.0) * (longSide / 72.0) / (longSide / shortSide);

  // Colour mode data, image resources, layer and mask information: each a u32 length and its data.
  std::uint64_t total = 26;
  double multiplier = 1.0;
  for (int section = 0; section < 3; ++section) {
    total += static_cast<std::uint64_t>(window.be32At(total)) + 4;
    if (section == 1) {
      const std::uint16_t m = window.be16At(total + 8);
      if (m >= 1 && m <= 100) multiplier = m;
    }
  }
  if (window.failed()) return 0;
  const double limit = std::max(static_cast<double>(total) * 3.0, std::min(estimate * multiplier, kLargestEstimate));
  // The image data ends where a long run of zero words begins.
  std::uint32_t zeroRun = 0;
  while (static_cast<double>(total) < limit && !window.cancelled()) {
    const std::uint32_t word = window.be32At(total);
    if (window.failed()) return 0;
    total += 4;
    zeroRun = word == 0 ? zeroRun + 4 : 0;
    if (zeroRun >= kZeroRunBytes) break;
  }
  return total + 512;
}

}  // namespace nua
