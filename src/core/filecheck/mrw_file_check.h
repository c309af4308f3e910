// Minolta MRW: a chain of named blocks ahead of the image; the "PRD" block gives its dimensions.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class MrwFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "mrw"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0; }
};

}  // namespace nua
