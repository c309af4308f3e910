// Standard MIDI files (a header and its tracks) and RIFF MIDI.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

class MidFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "mid"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x4D; }

 private:
  bool riffMidiFile_ = false;
};

}  // namespace nua
