// The per-format checks of the signature tables. Each takes the read-only source, the scan's sector
// (relative to the volume's blocks), the scan's context and the row, and decides whether a header match
// is a real file. A confirmed file's size goes into the row's foundSize (0 when the check isn't sure),
// with skipFileSize and skipSize when the scan may jump over it. Bad bytes give false or a bounded
// size; no check reads outside the source or runs without bound.
#pragma once

#include <cstdint>

#include "formats/format_context.h"
#include "media/sector_source.h"

namespace nua::formats {

using FormatCheck = bool (*)(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row);

// Images and camera RAW.
[[nodiscard]] bool checkBmpFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkIcnsFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkMrwFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkPngFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkGifFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkJpegFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkTiffFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkCr2File(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkNefFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkSonyRawFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkOrfFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);

// Documents and archives.
[[nodiscard]] bool checkZipFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkPdfFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkRarFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkCompoundDocumentFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkRtfFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkInDesignFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
// One Outlook 2011 record check; `typeOfFile` 32 to 46 picks its name and folder formats.
[[nodiscard]] bool checkOutlookRecordFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);

// Audio and video.
[[nodiscard]] bool checkMp3File(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkMpegFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkMp4File(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool check3gppFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool check3gpp2File(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkMovFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkAviFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkWavFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkAiffFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkMidiFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);
[[nodiscard]] bool checkMtsFile(SectorSource&, std::uint64_t sector, FormatContext&, FormatRow&);

// Sets foundSize and, when `jump`, skipFileSize with skipSize in whole sectors.
void reportSize(FormatRow& row, std::uint64_t sizeBytes, bool jump, std::uint32_t bytesPerSector);

}  // namespace nua::formats
