// Shared helpers of the file check tests: real files made by Debian tools in a scratch folder, and a
// memory device that holds a file at a chosen sector behind unrelated bytes.
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

#include "base/bytes.h"
#include "filecheck/file_check.h"
#include "media/sector_source.h"

namespace nua::testing_support {

using Bytes = std::vector<std::byte>;

// A tool counts as installed when it is on the path and its probe (if any) succeeds.
inline bool haveTool(const std::string& name, const std::string& probe = {}) {
  std::string command = "command -v " + name + " >/dev/null 2>&1";
  if (!probe.empty()) command += " && (" + probe + ") >/dev/null 2>&1";
  return std::system(command.c_str()) == 0;
}

inline bool haveImageMagick() { return haveTool("convert", "convert -version | grep -q ImageMagick"); }

// Runs `command` in a fresh folder and returns the bytes of `file` made there; nothing when it failed.
inline std::optional<Bytes> makeWithTool(const std::string& command, const std::string& file) {
  static int serial = 0;
  const auto dir = std::filesystem::temp_directory_path() /
                   ("nua-filecheck-" + std::to_string(::getpid()) + "-" + std::to_string(++serial));
  std::filesystem::create_directories(dir);
  const std::string line = "cd '" + dir.string() + "' && (" + command + ") >/dev/null 2>&1";
  std::optional<Bytes> result;
  if (std::system(line.c_str()) == 0) {
    std::ifstream in(dir / file, std::ios::binary);
    const std::vector<char> chars((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!chars.empty()) {
      Bytes bytes(chars.size());
      for (std::size_t i = 0; i < chars.size(); ++i) bytes[i] = static_cast<std::byte>(chars[i]);
      result = std::move(bytes);
    }
  }
  std::filesystem::remove_all(dir);
  return result;
}

inline constexpr std::uint64_t kFileSector = 3;  // where the test devices put the file

// A device of 512-byte sectors: a few sectors of filler, the file at kFileSector, then `tail` (zeros
// by default, as on a freshly wiped disk).
inline MemorySectorSource deviceWithFile(const Bytes& file, const Bytes& tail = Bytes(4096)) {
  Bytes device(kFileSector * 512, std::byte{0x5A});
  device.insert(device.end(), file.begin(), file.end());
  device.insert(device.end(), tail.begin(), tail.end());
  return MemorySectorSource(std::move(device), 512);
}

// The 25 bytes the loop copies from a sector of the device.
inline Bytes headerOfSector(MemorySectorSource& source, std::uint64_t sector) {
  Bytes sectorBytes(source.bytesPerSector());
  EXPECT_TRUE(source.readSectors(sector, 1, sectorBytes));
  sectorBytes.resize(kFileCheckHeaderBytes);
  return sectorBytes;
}

inline Bytes bytesOf(std::string_view text) {
  Bytes out(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) out[i] = static_cast<std::byte>(text[i]);
  return out;
}

inline void putText(Bytes& bytes, std::size_t offset, std::string_view text) {
  if (bytes.size() < offset + text.size()) bytes.resize(offset + text.size());
  for (std::size_t i = 0; i < text.size(); ++i) bytes[offset + i] = static_cast<std::byte>(text[i]);
}

// A source whose every read fails, as a device that has gone away.
class FailingSectorSource final : public SectorSource {
 public:
  [[nodiscard]] std::uint32_t bytesPerSector() const override { return 512; }
  [[nodiscard]] std::uint64_t sectorCount() const override { return 1000; }
  [[nodiscard]] bool readSectors(std::uint64_t, std::uint32_t, std::span<std::byte>) override { return false; }
};

}  // namespace nua::testing_support
