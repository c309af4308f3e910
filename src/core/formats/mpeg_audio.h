// MPEG audio frame headers as the MP3 check reads them: bit fields, the sampling and bit-rate tables,
// and the frame length with the single layer II/III factor the check uses for every version.
#pragma once

#include <cstdint>

namespace nua::formats {

// `numBits` bits of `value` from bit `startBit` downward, the first as most significant. 0 bits give 0.
[[nodiscard]] std::uint32_t mp3BitCheck(std::uint32_t value, int startBit, int numBits);
// The synchsafe size of an ID3v2 tag: the low seven bits of each of the four bytes, joined.
[[nodiscard]] std::uint32_t mp3BitShredder(std::uint32_t value);
// 44100, 48000, 32000 for index 0 to 2, divided by the version (1, 2, or 4 for MPEG 2.5); else 0.
[[nodiscard]] std::uint32_t mp3SampleRate(std::uint32_t version, std::uint32_t samplingIndex);
// Kilobits per second; 0 for index 0, an index outside 1 to 14, or an unknown version or layer.
[[nodiscard]] std::uint32_t mp3BitRate(std::uint32_t version, std::uint32_t layer, std::uint32_t bitRateIndex);

struct MpegAudioFrameHeader {
  bool syncOk = false;  // the 11 sync bits (the value is at least 0xFFE00000)
  std::uint32_t version = 0;  // 1, 2, or 4 (MPEG 2.5); 0 for the reserved value
  std::uint32_t layer = 0;    // 1 to 3; 0 for the reserved value
  std::uint32_t protectionBit = 0;
  std::uint32_t bitRateIndex = 0;
  std::uint32_t samplingIndex = 0;
  std::uint32_t padding = 0;
  std::uint32_t frameLength = 0;  // bytes; 0 when the header is bad

  // Sync, version, layer and bit-rate index 15 are the checks the first frame gets.
  [[nodiscard]] bool firstFieldsOk() const { return syncOk && version != 0 && layer != 0 && bitRateIndex != 15; }
  [[nodiscard]] bool ok() const { return firstFieldsOk() && samplingIndex != 3 && frameLength != 0; }
  // To the next frame: the frame length, plus 2 when the protection bit is 0.
  [[nodiscard]] std::uint32_t step() const { return frameLength + (protectionBit == 0 ? 2 : 0); }
  [[nodiscard]] bool sameStream(const MpegAudioFrameHeader& other) const {
    return version == other.version && layer == other.layer && protectionBit == other.protectionBit;
  }
};

[[nodiscard]] MpegAudioFrameHeader decodeMpegAudioFrameHeader(std::uint32_t header);

}  // namespace nua::formats
