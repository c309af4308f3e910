// The size rule Panasonic and Leica raw files share: the image data of IFD 0, and the JPEG that
// tag 46 locates, measured with the JPEG walk.
#pragma once

#include <cstdint>

#include "filecheck/file_check_scan_state.h"
#include "filecheck/file_window.h"
#include "filecheck/tiff_ifd.h"

namespace nua {

// Size with margin, or 0; reports the embedded JPEG through the state.
[[nodiscard]] std::uint64_t panasonicRawSize(FileWindow& window, FileCheckScanState& state, const TiffIfd& firstIfd,
                                             std::uint64_t firstIfdOffset, bool bigEndian,
                                             std::uint32_t bytesInSector);

// The length of the JPEG at `offset` bytes into the window's file: the JPEG walk to FF D9, without
// margin; 0 when no end was found.
[[nodiscard]] std::uint64_t jpegSize(FileWindow& window, std::uint64_t offset);

}  // namespace nua
