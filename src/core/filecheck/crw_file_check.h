// Canon CRW: a heap of records whose last four bytes point at the root directory; the walk hunts for
// that pointer to find the file's end, and the directory names the preview JPEG.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class CrwFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "crw"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x49; }
};

}  // namespace nua
