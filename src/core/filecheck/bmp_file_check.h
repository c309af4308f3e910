// Windows bitmap: "BM" with zero reserved bytes; the size is the header's own file size field.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class BmpFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  static constexpr std::uint32_t kSmallestSize = 50;
  static constexpr std::uint32_t kLargestSize = 104857600;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "bmp"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x42; }
};

}  // namespace nua
