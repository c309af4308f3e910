// JPEG: marker segments up to the start of scan, then the scan data up to the end-of-image marker.
#pragma once

#include "filecheck/file_check.h"

namespace nua {

// How a JPEG walk ended.
struct JpegWalk {
  std::uint64_t length = 0;  // bytes from the JPEG's start to behind FF D9 (or as far as the walk went)
  bool endFound = false;     // FF D9 was reached
  bool capped = false;       // the walk passed 25 MiB
};

// Walks a JPEG that starts `startOffset` bytes into the window's file. Bounded by the 25 MiB cap.
[[nodiscard]] JpegWalk walkJpeg(FileWindow& window, std::uint64_t startOffset);
// True when the bytes are FF D8 FF and a marker a camera or encoder starts a JPEG with.
[[nodiscard]] bool isJpegStart(ByteSpan bytes);

class JpgFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  static constexpr std::uint64_t kCapBytes = 26214400;       // a claim beyond 25 MiB...
  static constexpr std::uint64_t kCappedSize = 0x500000;     // ...is given 5 MiB
  static constexpr std::uint64_t kMarginBytes = 514;

  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "jpg"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0xFF; }
};

}  // namespace nua
