// RealAudio (.ra): the header's lengths, and the trailing RaTC chunk when there is one.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class RaFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "ra"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x2E; }
};

}  // namespace nua
