// AMR speech, narrowband or wideband: the frames' own header bytes give their lengths.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class AmrFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "amr"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x23; }

 private:
  bool wideBandAmr_ = false;
};

}  // namespace nua
