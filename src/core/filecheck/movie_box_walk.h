// The walk over the top-level boxes (atoms) of QuickTime, MP4 and 3GPP files, shared by the seven
// movie checks, and the look-ahead test they use.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "filecheck/file_window.h"

namespace nua {

enum class MovieBoxForm {
  QuickTime,  // a zero length steps by 8; stops at 0xFFFFFFF0, less the last box
  Mp4,        // a second "ftyp" is the next file; capped at 0x7FFFFFF8
  ThreeGpp,   // capped at 0x7FFFFFF8
  Itunes,     // M4A, M4B, M4V
};

// The file's size by its boxes, with margin; 0 or 512 for a short walk as the form wants it.
[[nodiscard]] std::uint64_t movieBoxWalkSize(FileWindow& window, MovieBoxForm form);

// True for the box types a movie file is made of at its top level.
[[nodiscard]] bool isKnownMovieBox(ByteSpan type);

// The look-ahead: the first box's length (at 0) is 8 to 0x100000 and the box behind it has a known type.
[[nodiscard]] bool nextBoxIsKnown(FileWindow& window, ByteSpan header);

}  // namespace nua
