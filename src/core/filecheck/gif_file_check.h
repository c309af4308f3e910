// GIF: "GIF87a" or "GIF89a", measured by walking its image and extension blocks to the trailer.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class GifFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "gif"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x47; }
};

}  // namespace nua
