// MPEG audio header decoding.
#include "formats/mpeg_audio.h"

#include <array>

namespace nua::formats {

namespace {

constexpr std::array<std::uint32_t, 15> kMpeg1Layer2{0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384};
constexpr std::array<std::uint32_t, 15> kMpeg1Layer3{0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
constexpr std::array<std::uint32_t, 15> kMpeg2Layer1{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256};
constexpr std::array<std::uint32_t, 15> kMpeg2Layer23{0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};

}  // namespace

std::uint32_t mp3BitCheck(std::uint32_t value, int startBit, int numBits) {
  if (numBits <= 0 || startBit < 0 || startBit > 31 || numBits > startBit + 1) return 0;
  const int lowest = startBit - numBits + 1;
  const std::uint64_t divisor = std::uint64_t{1} << lowest;
  const std::uint64_t modulus = std::uint64_t{1} << numBits;
  return static_cast<std::uint32_t>((value / divisor) % modulus);
}

std::uint32_t mp3BitShredder(std::uint32_t value) {
  return mp3BitCheck(value, 30, 7) * (1u << 21) + mp3BitCheck(value, 22, 7) * (1u << 14) +
         mp3BitCheck(value, 14, 7) * (1u << 7) + mp3BitCheck(value, 6, 7);
}

std::uint32_t mp3SampleRate(std::uint32_t version, std::uint32_t samplingIndex) {
  static constexpr std::array<std::uint32_t, 3> kRates{44100, 48000, 32000};
  if (samplingIndex > 2 || version == 0) return 0;
  return kRates[samplingIndex] / version;
}

std::uint32_t mp3BitRate(std::uint32_t version, std::uint32_t layer, std::uint32_t bitRateIndex) {
  if (bitRateIndex < 1 || bitRateIndex > 14) return 0;
  if (version == 1) {
    if (layer == 1) return bitRateIndex * 32;
    if (layer == 2) return kMpeg1Layer2[bitRateIndex];
    if (layer == 3) return kMpeg1Layer3[bitRateIndex];
    return 0;
  }
  if (version == 2 || version == 4) {
    if (layer == 1) return kMpeg2Layer1[bitRateIndex];
    if (layer == 2 || layer == 3) return kMpeg2Layer23[bitRateIndex];
  }
  return 0;
}

MpegAudioFrameHeader decodeMpegAudioFrameHeader(std::uint32_t header) {
  MpegAudioFrameHeader h;
  h.syncOk = header >= 0xFFE00000u;
  static constexpr std::array<std::uint32_t, 4> kVersions{4, 0, 2, 1};
  static constexpr std::array<std::uint32_t, 4> kLayers{0, 3, 2, 1};
  h.version = kVersions[mp3BitCheck(header, 20, 2)];
  h.layer = kLayers[mp3BitCheck(header, 18, 2)];
  h.protectionBit = mp3BitCheck(header, 16, 1);
  h.bitRateIndex = mp3BitCheck(header, 15, 4);
  h.samplingIndex = mp3BitCheck(header, 11, 2);
  h.padding = mp3BitCheck(header, 9, 1);
  const std::uint32_t rate = mp3SampleRate(h.version, h.samplingIndex);
  const std::uint32_t kbps = mp3BitRate(h.version, h.layer, h.bitRateIndex);
  if (rate == 0 || kbps == 0) return h;
  // Layers II and III use 144000 for every version (MPEG 2 and 2.5 layer III frames are really half as
  // long); the stream walk keeps that factor.
  h.frameLength = h.layer == 1 ? (kbps * 12000 / rate + h.padding) * 4 : kbps * 144000 / rate + h.padding;
  return h;
}

}  // namespace nua::formats
