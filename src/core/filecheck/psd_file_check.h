// Photoshop image: its length is in no field, so it is estimated from the image's dimensions, mode
// and depth, and then refined by looking for where the data gives way to zeros.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

// Bytes per square inch at 72 points for a colour mode and bit depth; 0 for a combination not known.
// The figures are single-precision values widened to double, as the estimate has always used them.
[[nodiscard]] double psdCoefficient(std::uint16_t colourMode, std::uint16_t depth);

class PsdFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  static constexpr double kLargestEstimate = 2040109465.6;
  static constexpr std::uint32_t kZeroRunBytes = 48;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "psd"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x38; }
};

}  // namespace nua
