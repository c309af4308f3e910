// Movie box walk.
#include "filecheck/movie_box_walk.h"

#include <array>
#include <string>
#include <string_view>

#include "base/log.h"

namespace nua {

namespace {

constexpr std::array<std::string_view, 8> kKnownBoxes = {"free", "ftyp", "mdat", "moov",
                                                         "pnot", "skip", "uuid", "wide"};
constexpr std::uint64_t kShortMovie = 10240;

bool typeIs(ByteSpan type, std::string_view text) {
  if (type.size() < text.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (static_cast<char>(type[i]) != text[i]) return false;
  }
  return true;
}

}  // namespace

bool isKnownMovieBox(ByteSpan type) {
  for (const std::string_view known : kKnownBoxes) {
    if (typeIs(type, known)) return true;
  }
  return false;
}

bool nextBoxIsKnown(FileWindow& window, ByteSpan header) {
  if (!fits(header.size(), 0, 4)) return false;
  const std::uint32_t length = be32(header, 0);
  if (length < 8 || length > 0x100000) return false;
  return isKnownMovieBox(window.bytesAt(length + 4, 4)) && !window.failed();
}

std::uint64_t movieBoxWalkSize(FileWindow& window, MovieBoxForm form) {
  const bool quickTime = form == MovieBoxForm::QuickTime;
  if (quickTime) logLine("mov size calc started at sect: " + std::to_string(window.fileFirstSector()));
  std::uint64_t total = 0;
  std::uint64_t lastBox = 0;
  while (!window.cancelled()) {
    const ByteSpan type = window.bytesAt(total + 4, 4);
    if (!isKnownMovieBox(type)) break;
    if (form == MovieBoxForm::Mp4 && total != 0 && typeIs(type, "ftyp")) break;
    std::uint64_t length = window.be32At(total);
    // A length of 1 means the real one is the 64-bit field behind the type (large media data).
    if (length == 1) length = window.be64At(total + 8);
    if (length == 0) {
      if (!quickTime) break;
      length = 8;
    }
    if (length < 8) break;  // shorter than its own header: the walk would stand still
    const std::uint64_t before = total;
    total += length;
    lastBox = length;
    if (quickTime && total / FileWindow::kFilledBytes != before / FileWindow::kFilledBytes) {
      logLine("mov size calc continued at sect: " +
              std::to_string(window.fileFirstSector() + total / window.bytesPerSector()));
    }
    if (quickTime && total >= 0xFFFFFFF0) {
      total -= lastBox;
      break;
    }
    if (!quickTime && form != MovieBoxForm::Itunes && total >= 0x7FFFFFF8) return 0x3C00200;
  }
  if (window.failed()) return 0;
  if (total < kShortMovie) return (quickTime || form == MovieBoxForm::Mp4) ? 0 : 512;
  return total + 512;
}

}  // namespace nua
