// AIFF and AIFF-C: a FORM of known chunks.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class AifFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "aif"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x46; }
};

}  // namespace nua
