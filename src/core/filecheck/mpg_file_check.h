// MPEG-1/2 program streams (walked pack by pack) and elementary video (walked by start codes).
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class MpgFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "mpg"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0; }

 private:
  [[nodiscard]] std::uint64_t packStreamSize(FileWindow& window);
  [[nodiscard]] std::uint64_t sequenceStreamSize(FileWindow& window);
  bool header0x1B3_ = false;
};

}  // namespace nua
