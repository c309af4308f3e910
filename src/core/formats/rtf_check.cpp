// RTF: the text runs sector by sector to the first zero byte and ends at its last "}". A text saved
// from an RTFD package names its pictures; they are listed so that the scan can put them beside it.
#include "formats/rtf_check.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

#include "formats/detail/file_bytes.h"
#include "formats/format_checks.h"

namespace nua::formats {

namespace {

constexpr std::string_view kGraphicWord = "NeXTGraphic";
// The text kept for the picture search; longer texts are still measured to their end.
constexpr std::size_t kHeldTextBytes = 16u << 20;

std::size_t findIgnoringCase(std::string_view text, std::string_view word, std::size_t from) {
  if (word.size() > text.size()) return std::string_view::npos;
  for (std::size_t i = from; i + word.size() <= text.size(); ++i) {
    bool same = true;
    for (std::size_t k = 0; k < word.size() && same; ++k) {
      same = std::tolower(static_cast<unsigned char>(text[i + k])) == std::tolower(static_cast<unsigned char>(word[k]));
    }
    if (same) return i;
  }
  return std::string_view::npos;
}

std::vector<std::string> splitAt(std::string_view text, std::string_view separator) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t at = text.find(separator); at != std::string_view::npos; at = text.find(separator, start)) {
    parts.emplace_back(text.substr(start, at - start));
    start = at + separator.size();
  }
  parts.emplace_back(text.substr(start));
  return parts;
}

// The leading integer of a text, as a text-to-number conversion that stops at the first non-digit.
int leadingInteger(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
  long long value = 0;
  while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])) && value < 1000000000) {
    value = value * 10 + (text[i++] - '0');
  }
  return static_cast<int>(negative ? -value : value);
}

// Twips to points; a missing part counts as 0.
int twipsPart(const std::vector<std::string>& parts, std::size_t index, std::size_t prefixLength) {
  if (index >= parts.size() || parts[index].size() < prefixLength) return 0;
  return leadingInteger(std::string_view(parts[index]).substr(prefixLength)) / 20;
}

}  // namespace

bool isSupportedRtfGraphic(std::string_view extension) {
  static constexpr std::array<std::string_view, 21> kSupported{
      "bmp", "Bmp", "BMP", "jpg", "JPG", "Jpg", "jpeg", "JPEG", "Jpeg", "png", "PNG",
      "Png", "tif", "TIF", "Tif", "tiff", "TIFF", "Tiff", "gif", "GIF", "Gif"};
  return std::find(kSupported.begin(), kSupported.end(), extension) != kSupported.end();
}

std::vector<RtfGraphic> rtfGraphicsInText(std::string_view text) {
  std::vector<RtfGraphic> graphics;
  for (std::size_t hit = findIgnoringCase(text, kGraphicWord, 0); hit != std::string_view::npos;
       hit = findIgnoringCase(text, kGraphicWord, hit + kGraphicWord.size())) {
    const std::size_t start = std::min(text.size(), hit + kGraphicWord.size() + 1);  // past the word and its blank
    const std::size_t close = text.find('}', start);
    if (close == std::string_view::npos) break;
    const auto parts = splitAt(text.substr(start, close - start), " \\");
    graphics.push_back(RtfGraphic{parts[0], twipsPart(parts, 1, 5), twipsPart(parts, 2, 6)});
  }
  // Names written with RTF escapes lose their backslashes; only supported picture types are kept.
  std::vector<RtfGraphic> kept;
  for (auto& graphic : graphics) {
    const auto pieces = splitAt(graphic.fileName, "\\");
    if (pieces.size() >= 2) {
      std::string joined;
      for (const auto& piece : pieces) joined += piece;
      graphic.fileName = joined;
    }
    const std::size_t dot = graphic.fileName.rfind('.');
    const std::string_view extension =
        dot == std::string::npos ? std::string_view{} : std::string_view(graphic.fileName).substr(dot + 1);
    if (isSupportedRtfGraphic(extension)) kept.push_back(graphic);
  }
  // Later duplicates go, but each entry looks only at indices below the count less its index, plus
  // one, so a duplicate near the end can stay.
  for (std::size_t i = 0; i < kept.size(); ++i) {
    for (std::size_t j = i + 1; j < kept.size() && j < kept.size() - i + 1; ++j) {
      if (kept[j].fileName == kept[i].fileName) {
        kept.erase(kept.begin() + static_cast<std::ptrdiff_t>(j));
        --j;
      }
    }
  }
  return kept;
}

bool checkRtfFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  row.skipSize = 0;
  FileBytes file(source, context.baseSector(sector), 8);
  const std::uint32_t bps = file.bytesPerSector();
  std::string held;
  std::uint64_t length = 0;
  std::uint64_t lastBrace = 0;
  bool braceSeen = false;
  for (std::uint64_t s = 0; !context.stopRequested(); ++s) {
    const ByteSpan bytes = file.at(s * bps, bps);
    std::size_t stringLength = 0;
    while (stringLength < bps && bytes[stringLength] != std::byte{0}) ++stringLength;
    for (std::size_t i = 0; i < stringLength; ++i) {
      if (bytes[i] == std::byte{'}'}) {
        lastBrace = length + i;
        braceSeen = true;
      }
    }
    if (held.size() < kHeldTextBytes) {
      const std::size_t room = std::min(stringLength, kHeldTextBytes - held.size());
      held.append(reinterpret_cast<const char*>(bytes.data()), room);
    }
    length += stringLength;
    if (stringLength < bps) break;
  }
  if (length == 0) return false;
  if (braceSeen) length = lastBrace + 1;
  if (held.size() > length) held.resize(static_cast<std::size_t>(length));

  auto graphics = rtfGraphicsInText(held);
  if (findIgnoringCase(held, kGraphicWord, 0) != std::string_view::npos) {
    context.rtfd.graphics.clear();  // a new text's pictures replace what an earlier one awaited
    context.rtfd.wrapperBlockNumber.reset();
  }
  if (!graphics.empty()) {
    row.skipSize = graphics.size();
    context.rtfd.graphics = std::move(graphics);
    context.rtfd.lookForRtfAttachments = true;
  }
  row.foundSize = length;
  return true;
}

}  // namespace nua::formats
