// The table from typeOfFile to check, and the rules applied around every call.
#include "formats/format_dispatch.h"

#include <array>

namespace nua::formats {

namespace {

constexpr std::uint32_t kTypeMp3 = 16;
constexpr std::uint16_t kLowestFrameSync = 0xFFE0;
constexpr std::uint16_t kId3Start = 0x4944;   // "ID"
constexpr std::uint16_t kRiffStart = 0x5249;  // "RI"

struct TableLine {
  std::uint32_t typeOfFile;
  FormatCheck check;
};

constexpr std::array kChecks{
    TableLine{2, checkBmpFile},         TableLine{3, checkJpegFile},        TableLine{4, checkGifFile},
    TableLine{5, checkTiffFile},        TableLine{6, checkPngFile},         TableLine{8, checkCr2File},
    TableLine{9, checkNefFile},         TableLine{10, checkSonyRawFile},    TableLine{11, checkMrwFile},
    TableLine{12, checkOrfFile},        TableLine{13, checkWavFile},        TableLine{14, checkMidiFile},
    TableLine{15, checkMovFile},        TableLine{16, checkMp3File},        TableLine{17, checkMp4File},
    TableLine{18, checkAviFile},        TableLine{19, checkMpegFile},       TableLine{20, checkIcnsFile},
    TableLine{21, checkZipFile},        TableLine{23, checkRarFile},        TableLine{24, checkPdfFile},
    TableLine{25, checkRtfFile},        TableLine{26, check3gppFile},       TableLine{27, check3gpp2File},
    TableLine{28, checkAiffFile},       TableLine{30, checkCompoundDocumentFile}, TableLine{31, checkMtsFile},
    TableLine{32, checkOutlookRecordFile}, TableLine{33, checkOutlookRecordFile}, TableLine{34, checkOutlookRecordFile},
    TableLine{35, checkOutlookRecordFile}, TableLine{36, checkOutlookRecordFile}, TableLine{37, checkOutlookRecordFile},
    TableLine{38, checkOutlookRecordFile}, TableLine{39, checkOutlookRecordFile}, TableLine{40, checkOutlookRecordFile},
    TableLine{41, checkOutlookRecordFile}, TableLine{42, checkOutlookRecordFile}, TableLine{43, checkOutlookRecordFile},
    TableLine{44, checkOutlookRecordFile}, TableLine{45, checkOutlookRecordFile}, TableLine{46, checkOutlookRecordFile},
    TableLine{47, checkInDesignFile},
};

}  // namespace

std::optional<FormatCheck> formatCheckForType(std::uint32_t typeOfFile) {
  for (const auto& line : kChecks) {
    if (line.typeOfFile == typeOfFile) return line.check;
  }
  return std::nullopt;
}

bool runCheckForSig(SectorSource& source, FormatContext& context, FormatRow& row, std::uint16_t firstTwoBytes,
                    bool& mp3SkippedOnce, std::uint64_t sector) {
  // An InDesign book found by the last call goes back to the row's own extension for good.
  if (row.extension == "indb") row.extension = "indd";
  const auto check = formatCheckForType(row.typeOfFile);
  if (!check) return true;
  // Checks size their buffers by the source's sectors; a context that disagrees would misplace them.
  if (source.bytesPerSector() == 0 || context.bytesPerSector != source.bytesPerSector()) return false;
  if (row.typeOfFile == kTypeMp3) {
    // The MP3 row is offered every sector; only a frame sync, an ID3 tag or a RIFF head may go on.
    if (firstTwoBytes < kLowestFrameSync && firstTwoBytes != kId3Start && firstTwoBytes != kRiffStart) return false;
    const bool found = (*check)(source, sector, context, row);
    mp3SkippedOnce = true;
    return found;
  }
  return (*check)(source, sector, context, row);
}

}  // namespace nua::formats
