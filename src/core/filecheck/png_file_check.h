// PNG: the signature with its IHDR chunk, measured by walking the chunks of known types.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class PngFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "png"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x89; }
};

}  // namespace nua
