// Fujifilm RAF: the header names the preview JPEG and the raw data by offset and length.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class RafFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "raf"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x46; }
};

}  // namespace nua
