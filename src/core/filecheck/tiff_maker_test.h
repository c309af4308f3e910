// The one test that tells the fourteen TIFF-family formats apart: it reads the first IFD once, looks at
// the camera's Make and Model, and leaves its verdict in the scan state for the other members.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "filecheck/file_check_scan_state.h"
#include "media/sector_source.h"

namespace nua {

// What only the Sony ARW check keeps: the model groups whose files it measures two ways.
struct TiffMakerVerdict {
  bool sonyArwA700File = false;
  bool sonyArwA100File = false;
};

// Canon's CRW files share the TIFF byte-order mark; "HEAPCCDR" at byte 6 tells them.
[[nodiscard]] bool hasCanonHeapMark(ByteSpan header);

// Runs the maker test on the sector's first bytes: clears the per-sector verdicts and sets the byte
// order and the verdict flags. A plain TIFF (no camera maker the family knows) sets `tiffFileFound`; a
// DNG (version tag 0xC612 or 0xC613, whatever the maker) sets only `pentaxDngFileFound`. Damaged or
// foreign data sets no verdict.
TiffMakerVerdict runTiffMakerTest(SectorSource& source, FileCheckScanState& state, ByteSpan header,
                                  std::uint64_t sector);

// Tells a PENTAX raw file from a plain one by its EXIF maker note: 0 or 3 reject (EXIF out of reach,
// bad EXIF table), 1 a raw TIFF, 2 a PEF (a Pentax maker note, "AOC" or "PENTAX ").
[[nodiscard]] int pentaxRawTiffFile(SectorSource& source, FileCheckScanState& state, std::uint64_t sector,
                                    bool bigEndian, std::uint64_t firstIfdOffset);

}  // namespace nua
