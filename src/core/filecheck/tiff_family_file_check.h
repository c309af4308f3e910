// The common frame of the fourteen TIFF-family checks: who runs the maker test and who answers from
// its verdict, and the first IFD that every camera RAW size walk starts from.
#pragma once

#include <optional>

#include "filecheck/file_check.h"
#include "filecheck/tiff_ifd.h"
#include "filecheck/tiff_maker_test.h"

namespace nua {

class TiffFamilyFileCheck : public FileCheck {
 public:
  using FileCheck::FileCheck;
  // The first selected member in the family's order runs the maker test; a later one answers from
  // the verdict it left, without reading the device.
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x49; }

 protected:
  // True when a member ahead of this one is selected, so the verdict is already there.
  [[nodiscard]] virtual bool earlierMemberSelected() const = 0;
  // The verdict flag this member answers with.
  [[nodiscard]] virtual bool verdictFlag() const = 0;

  [[nodiscard]] bool sonyOrPentaxGroupSelected() const {
    return state_.sonySr2Selected || state_.arwSelected || state_.pentaxSelected || state_.dngSelected ||
           state_.canonSelected || state_.nikonSelected;
  }

  // The start of every camera RAW walk: byte order from the verdict, the first IFD's offset F and its
  // table. Nothing when neither byte order is set, F is outside 8 to 0xC800000, or the count is bad.
  struct RawFrame {
    bool bigEndian = false;
    std::uint64_t firstIfdOffset = 0;
    TiffIfd firstIfd;
    // F plus the first table's entries times 12, plus the member's fallback figure.
    [[nodiscard]] std::uint64_t fallbackEnd(std::uint64_t figure) const {
      return firstIfdOffset + static_cast<std::uint64_t>(firstIfd.entryCount) * 12 + figure;
    }
  };
  [[nodiscard]] std::optional<RawFrame> openRawFrame(FileWindow& window, ByteSpan header,
                                                     std::uint16_t minEntries = 2,
                                                     std::uint16_t maxEntries = kTiffLargestEntryCount);
  // The IFD a value points at, when it is within `limit`.
  [[nodiscard]] static std::optional<TiffIfd> subIfdAt(FileWindow& window, std::uint64_t offset, bool bigEndian,
                                                       std::uint64_t limit = kTiffValueLimit,
                                                       std::uint16_t maxEntries = kTiffLargestEntryCount);
  // Records the JPEG at `offset` bytes into the file at `sector`, of `size` bytes.
  void reportJpeg(std::uint64_t sector, std::uint64_t offset, std::uint64_t size) {
    reportRawJpeg(state_, bytesInSector(), sector, offset, size);
  }

  TiffMakerVerdict verdict_;
};

// The sum of a TIFF's tables, out-of-line values and strip or tile byte counts over up to 24 IFDs,
// plus one sector of margin; 0 when the sum passes 0x9600000 or the result leaves 100 to 0xC800000.
[[nodiscard]] std::uint64_t tiffSumWalkSize(FileWindow& window, bool bigEndian, std::uint64_t firstIfdOffset);

}  // namespace nua
