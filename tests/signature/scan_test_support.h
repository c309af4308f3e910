// Shared pieces of the carving engine's tests: a sink that records finds, the JPEG and PNG rows of the
// catalog, a source that fails chosen sectors, and where known bytes sit in an image.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "media/failing_sector_source.h"
#include "media/sector_source.h"
#include "signature/signature_scan_engine.h"
#include "media/failing_sector_source.h"

namespace nua::scantest {

struct Find {
  std::uint64_t absoluteSector = 0;
  std::uint64_t recordedSector = 0;
  std::string kind;  // the row's extension or the check's folder key
  std::uint64_t sizeBytes = 0;
  bool operator<(const Find& other) const { return absoluteSector < other.absoluteSector; }
};

class RecordingSink final : public CarvedFindSink {
 public:
  void addSignatureFind(const CarvedPosition& at, const Sig& row, FormatContext&) override {
    finds.push_back({at.absoluteSector, at.recordedSector, row.extension, row.foundSize});
  }
  void addFileCheckFind(const CarvedPosition& at, const FileCheck& check, std::uint64_t size) override {
    finds.push_back({at.absoluteSector, at.recordedSector, std::string(check.parentKey()), size});
  }
  void addRawJpgFind(const CarvedPosition& at, std::uint32_t, std::uint64_t size) override {
    finds.push_back({at.absoluteSector, at.recordedSector, "raw jpg", size});
  }
  [[nodiscard]] std::set<std::uint64_t> sectors() const {
    std::set<std::uint64_t> out;
    for (const Find& f : finds) out.insert(f.absoluteSector);
    return out;
  }
  std::vector<Find> finds;
};

class RecordingResume final : public ResumePositionSink {
 public:
  void savePosition(std::uint64_t unit) override { positions.push_back(unit); }
  std::vector<std::uint64_t> positions;
};

inline Sig catalogRow(const char* extension, std::uint64_t header, std::uint8_t length, std::uint32_t typeOfFile,
                      std::uint32_t defaultSizeMiB) {
  Sig sig;
  sig.extension = extension;
  sig.header = header;
  sig.headerLength = length;
  sig.typeOfFile = typeOfFile;
  sig.defaultSize = defaultSizeMiB;
  return sig;
}
inline Sig jpgRow() { return catalogRow("jpg", 0xFFD8FF, 3, 3, 20); }
inline Sig pngRow() { return catalogRow("png", 0x89504E470D0A1A0AULL, 8, 6, 50); }

inline std::vector<std::byte> readFileBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<char> chars((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::vector<std::byte> bytes(chars.size());
  std::transform(chars.begin(), chars.end(), bytes.begin(), [](char c) { return static_cast<std::byte>(c); });
  return bytes;
}

// Sectors at which `content` starts in `image`, looking only at sector boundaries.
inline std::set<std::uint64_t> sectorsHolding(const std::vector<std::byte>& image, const std::vector<std::byte>& content,
                                              std::uint32_t bytesPerSector = 512) {
  std::set<std::uint64_t> out;
  for (std::size_t at = 0; at + content.size() <= image.size(); at += bytesPerSector) {
    if (std::equal(content.begin(), content.end(), image.begin() + static_cast<std::ptrdiff_t>(at))) {
      out.insert(at / bytesPerSector);
    }
  }
  return out;
}

}  // namespace nua::scantest
