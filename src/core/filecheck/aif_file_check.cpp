// AIFF chunk walk. Chunks of odd length carry a pad byte, as AIFF requires of every chunk.
#include "filecheck/aif_file_check.h"

#include <array>

namespace nua {

namespace {

constexpr std::array<std::string_view, 13> kKnownChunks = {"(c) ", "AESD", "ANNO", "APPL", "AUTH", "COMM", "COMT",
                                                          "FVER", "INST", "MARK", "MIDI", "NAME", "SSND"};

bool knownChunk(FileWindow& window, std::uint64_t offset) {
  const ByteSpan type = window.bytesAt(offset, 4);
  for (const std::string_view known : kKnownChunks) {
    if (headerText(type, 0, known)) return true;
  }
  return false;
}

}  // namespace

bool AifFileCheck::isFile(ByteSpan header, std::uint64_t sector) {
  if (!headerText(header, 0, "FORM") || !headerText(header, 8, "AIF")) return false;
  FileWindow window = openWindow(sector);
  return knownChunk(window, 20 + static_cast<std::uint64_t>(headerBe32(header, 16))) && !window.failed();
}

std::uint64_t AifFileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  std::uint64_t total = 12;
  while (!window.cancelled() && knownChunk(window, total)) {
    const std::uint64_t length = window.be32At(total + 4);
    total += length + 8 + (length % 2);
    if (total > 0xFFFFFFF0) return 0x3C00000;
  }
  if (window.failed()) return 0;
  if (total > 0x7FFFFFF8) return 0x3C00200;
  return (total < 1024 ? 0 : total) + 512;
}

}  // namespace nua
