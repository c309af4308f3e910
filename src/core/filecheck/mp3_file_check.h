// MP3: an ID3 tag or a frame header, measured by walking the frames.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class Mp3FileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "mp3"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x49; }

 private:
  bool id3File_ = false;
};

}  // namespace nua
