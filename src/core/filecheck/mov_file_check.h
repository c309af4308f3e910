// QuickTime movies: an "ftyp" of brand "qt" or a first atom QuickTime writes.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class MovFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "mov"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0; }
};

}  // namespace nua
