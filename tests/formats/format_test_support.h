// Shared pieces of the format check tests: a byte builder, a source holding a file at a sector
// boundary, a runner for one check, and real files made by Debian tools (skipped when missing).
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#include "base/bytes.h"
#include "formats/format_checks.h"
#include "formats/format_context.h"
#include "media/sector_source.h"

namespace nua::formats::test {

inline constexpr std::uint32_t kSectorBytes = 512;

// Puts values at offsets, growing as needed.
class Bytes {
 public:
  Bytes() = default;
  explicit Bytes(std::size_t size) : data_(size) {}
  Bytes& text(std::size_t at, const std::string& s) {
    grow(at + s.size());
    for (std::size_t i = 0; i < s.size(); ++i) data_[at + i] = static_cast<std::byte>(s[i]);
    return *this;
  }
  Bytes& u8(std::size_t at, std::uint8_t v) { grow(at + 1); put8(data_, at, v); return *this; }
  Bytes& be16(std::size_t at, std::uint16_t v) { grow(at + 2); putBe16(data_, at, v); return *this; }
  Bytes& be32(std::size_t at, std::uint32_t v) { grow(at + 4); putBe32(data_, at, v); return *this; }
  Bytes& be64(std::size_t at, std::uint64_t v) { grow(at + 8); putBe64(data_, at, v); return *this; }
  Bytes& le16(std::size_t at, std::uint16_t v) { grow(at + 2); putLe16(data_, at, v); return *this; }
  Bytes& le32(std::size_t at, std::uint32_t v) { grow(at + 4); putLe32(data_, at, v); return *this; }
  Bytes& u16(std::size_t at, std::uint16_t v, bool big) { return big ? be16(at, v) : le16(at, v); }
  Bytes& u32(std::size_t at, std::uint32_t v, bool big) { return big ? be32(at, v) : le32(at, v); }
  Bytes& fill(std::size_t at, std::size_t length, std::uint8_t v) {
    grow(at + length);
    for (std::size_t i = 0; i < length; ++i) data_[at + i] = static_cast<std::byte>(v);
    return *this;
  }
  Bytes& resize(std::size_t size) { data_.resize(size); return *this; }
  [[nodiscard]] std::size_t size() const { return data_.size(); }
  [[nodiscard]] const std::vector<std::byte>& data() const { return data_; }
  [[nodiscard]] std::vector<std::byte>& data() { return data_; }

 private:
  void grow(std::size_t size) { if (data_.size() < size) data_.resize(size); }
  std::vector<std::byte> data_;
};

// A device of `deviceSectors` sectors with the file at `fileSector` (the rest zero).
struct PlacedFile {
  MemorySectorSource source;
  FormatContext context;
  std::uint64_t sector;
};

inline PlacedFile placeFile(const std::vector<std::byte>& file, std::uint64_t fileSector = 3,
                            std::uint64_t trailingSectors = 200) {
  const std::uint64_t fileSectors = (file.size() + kSectorBytes - 1) / kSectorBytes;
  const std::uint64_t deviceSectors = fileSector + fileSectors + trailingSectors;
  std::vector<std::byte> device(deviceSectors * kSectorBytes);
  std::copy(file.begin(), file.end(), device.begin() + static_cast<std::ptrdiff_t>(fileSector * kSectorBytes));
  FormatContext context;
  context.bytesPerSector = kSectorBytes;
  context.deviceEndSector = deviceSectors;
  return PlacedFile{MemorySectorSource(std::move(device), kSectorBytes), std::move(context), fileSector};
}

struct CheckOutcome {
  bool found = false;
  FormatRow row;
};

inline CheckOutcome runOn(PlacedFile& placed, FormatCheck check, FormatRow row = {}) {
  CheckOutcome outcome;
  outcome.found = check(placed.source, placed.sector, placed.context, row);
  outcome.row = row;
  return outcome;
}

inline CheckOutcome runOn(const std::vector<std::byte>& file, FormatCheck check, FormatRow row = {}) {
  PlacedFile placed = placeFile(file);
  return runOn(placed, check, std::move(row));
}

inline FormatRow rowOfType(std::uint32_t typeOfFile, std::string extension = {}) {
  FormatRow row;
  row.typeOfFile = typeOfFile;
  row.extension = std::move(extension);
  return row;
}

// A tool counts as installed when its probe command succeeds.
inline bool haveTool(const std::string& probe) {
  return std::system(("(" + probe + ") >/dev/null 2>&1").c_str()) == 0;
}

// Runs `command` in a fresh directory and returns the bytes of `file`, or nothing when it failed.
inline std::optional<std::vector<std::byte>> makeWithTool(const std::string& name, const std::string& command,
                                                          const std::string& file) {
  const auto dir = std::filesystem::temp_directory_path() / ("nua-formats-" + name + "-" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  const std::string line = "cd '" + dir.string() + "' && (" + command + ") >/dev/null 2>&1";
  std::optional<std::vector<std::byte>> bytes;
  if (std::system(line.c_str()) == 0) {
    std::ifstream in(dir / file, std::ios::binary);
    const std::vector<char> chars((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<std::byte> out(chars.size());
    for (std::size_t i = 0; i < chars.size(); ++i) out[i] = static_cast<std::byte>(chars[i]);
    if (!out.empty()) bytes = std::move(out);
  }
  std::filesystem::remove_all(dir);
  return bytes;
}

inline const char* kImageMagick = "convert -version | grep -q ImageMagick";

}  // namespace nua::formats::test
