// The decisions of a preview that need no decoder: the type by extension, whether the bytes are
// gathered, the texts of the movie panel and the schedule of scrolling lyrics.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "view/media_probe.h"

namespace nua {

// supportedFileType: 0 none, 1 image, 2 movie.
enum class SupportedFileType : std::int32_t { kNone = 0, kImage = 1, kMovie = 2 };

// The text behind the last "." of a name; a name without a dot is its own extension.
[[nodiscard]] std::string previewExtensionOfName(std::string_view fileName);
// The type by the lower-cased extension: an image type first, then a movie type, else none.
[[nodiscard]] SupportedFileType supportedFileTypeOf(std::string_view fileName, const MediaProbe& probe);
// Images and movies below the size limit are read whole; everything else shows its first block as text.
[[nodiscard]] bool gathersPreviewData(SupportedFileType type, std::uint64_t fileSize);

// "Loaded %.2f %%": the bytes gathered over the file's size, in single precision.
[[nodiscard]] std::string movieLoadedText(std::uint64_t gatheredBytes, std::uint64_t fileSize);
// "Duration: %@" with days:hours:minutes:seconds; empty for an unknown or zero duration.
[[nodiscard]] std::string movieDurationText(double seconds);
// The movie's display name, or empty when it is only the name the data were handed over under.
[[nodiscard]] std::string movieNameText(std::string_view displayName, std::string_view extension);
// "abc.%@": the name the data are handed to the decoder under, so that it knows the type.
[[nodiscard]] std::string movieDataReferenceName(std::string_view extension);

// One screen of lyrics: up to two lines joined by "\n", shown for `seconds`.
struct LyricsStep {
  std::string shown;
  double seconds = 0;
};
// Lines of the text two at a time, each character worth durationSeconds / length seconds.
[[nodiscard]] std::vector<LyricsStep> scrollLyricsSchedule(std::string_view text, double durationSeconds,
                                                           std::uint32_t length);

}  // namespace nua
