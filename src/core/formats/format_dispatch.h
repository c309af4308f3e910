// The one entry point of the scan loops into the format checks: the row's typeOfFile picks the check,
// with the MP3 filter in front of the MP3 check and the InDesign book extension turned back on the
// next call.
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>

#include "formats/format_checks.h"
#include "formats/format_context.h"
#include "media/sector_source.h"

namespace nua::formats {

// The check a typeOfFile selects, or nothing when the value has none (the find then stands as it is).
[[nodiscard]] std::optional<FormatCheck> formatCheckForType(std::uint32_t typeOfFile);

// runCheckForSig:wHeaderForMP3:bMP3SkippedOnce:atBlock:. `firstTwoBytes` is the sector's first two
// bytes as a big-endian u16; `mp3SkippedOnce` is set once the MP3 check really ran. Returns true when
// the find stands.
[[nodiscard]] bool runCheckForSig(SectorSource& source, FormatContext& context, FormatRow& row,
                                  std::uint16_t firstTwoBytes, bool& mp3SkippedOnce, std::uint64_t sector);

// The same over any row type with the catalog's field names (Sig): the fields a check reads are copied
// in and its verdict and extension copied back.
template <typename SigRow>
  requires requires(SigRow r) {
    r.typeOfFile;
    r.extension;
    r.userSize;
    r.defaultSize;
    r.foundSize;
    r.skipSize;
    r.skipFileSize;
  }
[[nodiscard]] bool runCheckForSigRow(SectorSource& source, FormatContext& context, SigRow& sig,
                                     std::uint16_t firstTwoBytes, bool& mp3SkippedOnce, std::uint64_t sector) {
  FormatRow row;
  row.typeOfFile = sig.typeOfFile;
  row.extension = sig.extension;
  row.userSize = sig.userSize;
  row.defaultSize = sig.defaultSize;
  row.foundSize = sig.foundSize;
  row.skipSize = sig.skipSize;
  row.skipFileSize = sig.skipFileSize;
  const bool found = runCheckForSig(source, context, row, firstTwoBytes, mp3SkippedOnce, sector);
  sig.extension = row.extension;
  sig.foundSize = row.foundSize;
  sig.skipSize = row.skipSize;
  sig.skipFileSize = row.skipFileSize;
  return found;
}

}  // namespace nua::formats
