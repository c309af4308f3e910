// iTunes audio ("M4A" brand).
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class M4aFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "m4a"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0; }
};

}  // namespace nua
