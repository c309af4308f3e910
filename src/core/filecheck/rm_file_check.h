// RealMedia: a chain of chunks from the .RMF header to the index.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class RmFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "rm"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x2E; }
};

}  // namespace nua
