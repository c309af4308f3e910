// MP4: an "ftyp" of any brand the other movie checks don't claim; the walk stops at the next "ftyp".
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class Mp4FileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "mp4"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0; }
};

}  // namespace nua
