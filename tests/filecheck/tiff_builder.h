// Builds TIFF-structured files in test code (camera RAW files have no Debian writer): a header, IFDs
// with their entries and out-of-line values, and data blobs, each at a known offset.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "file_check_test_support.h"

namespace nua::testing_support {

struct TiffEntry {
  std::uint16_t tag = 0;
  std::uint16_t type = 4;              // 2 ASCII, 3 SHORT, 4 LONG, 7 UNDEFINED
  std::vector<std::uint32_t> values;   // SHORT/LONG elements
  std::string text;                    // ASCII or UNDEFINED bytes
  std::uint32_t rawCount = 0;          // for an entry given as count and value field as they stand
  std::uint32_t rawValue = 0;
  bool raw = false;
};

inline TiffEntry longs(std::uint16_t tag, std::vector<std::uint32_t> v) { return {tag, 4, std::move(v), {}, 0, 0, false}; }
inline TiffEntry shorts(std::uint16_t tag, std::vector<std::uint32_t> v) { return {tag, 3, std::move(v), {}, 0, 0, false}; }
inline TiffEntry ascii(std::uint16_t tag, std::string text) {
  text.push_back('\0');
  return {tag, 2, {}, std::move(text), 0, 0, false};
}
inline TiffEntry undefinedBytes(std::uint16_t tag, std::string bytes) { return {tag, 7, {}, std::move(bytes), 0, 0, false}; }
// An entry whose count and value field are written as given (a blob named by offset and length).
inline TiffEntry rawEntry(std::uint16_t tag, std::uint16_t type, std::uint32_t count, std::uint32_t value) {
  return {tag, type, {}, {}, count, value, true};
}

class TiffBuilder {
 public:
  // `magic` replaces bytes 2 and 3 (the version 42) when not empty, as Olympus and Panasonic do.
  explicit TiffBuilder(bool bigEndian, std::string magic = {}) : bigEndian_(bigEndian), bytes_(8) {
    putText(bytes_, 0, bigEndian ? "MM" : "II");
    if (magic.empty()) {
      put16(2, 42);
    } else {
      putText(bytes_, 2, magic);
    }
  }

  [[nodiscard]] bool bigEndian() const { return bigEndian_; }
  [[nodiscard]] Bytes& bytes() { return bytes_; }
  [[nodiscard]] std::size_t size() const { return bytes_.size(); }

  void setFirstIfd(std::uint32_t offset) { put32(4, offset); }

  // Appends bytes at an even offset and returns it.
  std::uint32_t appendBlob(const Bytes& blob) {
    if (bytes_.size() % 2 != 0) bytes_.push_back(std::byte{0});
    const auto at = static_cast<std::uint32_t>(bytes_.size());
    bytes_.insert(bytes_.end(), blob.begin(), blob.end());
    return at;
  }
  // Reserves room for an IFD of `entryCount` entries and `valueBytes` of out-of-line values.
  std::uint32_t reserveIfd(std::size_t entryCount, std::size_t valueBytes = 256) {
    if (bytes_.size() % 2 != 0) bytes_.push_back(std::byte{0});
    const auto at = static_cast<std::uint32_t>(bytes_.size());
    bytes_.resize(bytes_.size() + 2 + entryCount * 12 + 4 + valueBytes);
    return at;
  }
  // Writes an IFD into reserved room; entries are sorted by tag, as TIFF wants.
  void writeIfd(std::uint32_t at, std::vector<TiffEntry> entries, std::uint32_t next = 0) {
    std::sort(entries.begin(), entries.end(), [](const TiffEntry& a, const TiffEntry& b) { return a.tag < b.tag; });
    put16(at, static_cast<std::uint16_t>(entries.size()));
    std::size_t valueAt = at + 2 + entries.size() * 12 + 4;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const TiffEntry& e = entries[i];
      const std::size_t entryAt = at + 2 + i * 12;
      put16(entryAt, e.tag);
      put16(entryAt + 2, e.type);
      if (e.raw) {
        put32(entryAt + 4, e.rawCount);
        put32(entryAt + 8, e.rawValue);
        continue;
      }
      const bool isText = e.type == 2 || e.type == 7;
      const std::size_t count = isText ? e.text.size() : e.values.size();
      const std::size_t elementSize = isText ? 1 : (e.type == 3 ? 2 : 4);
      put32(entryAt + 4, static_cast<std::uint32_t>(count));
      std::size_t dataAt = entryAt + 8;
      if (count * elementSize > 4) {
        dataAt = valueAt;
        put32(entryAt + 8, static_cast<std::uint32_t>(valueAt));
        valueAt += count * elementSize + (count * elementSize) % 2;
      }
      for (std::size_t k = 0; k < count; ++k) {
        if (isText) {
          bytes_[dataAt + k] = static_cast<std::byte>(e.text[k]);
        } else if (elementSize == 2) {
          put16(dataAt + 2 * k, static_cast<std::uint16_t>(e.values[k]));
        } else {
          put32(dataAt + 4 * k, e.values[k]);
        }
      }
    }
    put32(at + 2 + entries.size() * 12, next);
  }

  void put16(std::size_t at, std::uint16_t v) { bigEndian_ ? putBe16(bytes_, at, v) : putLe16(bytes_, at, v); }
  void put32(std::size_t at, std::uint32_t v) { bigEndian_ ? putBe32(bytes_, at, v) : putLe32(bytes_, at, v); }

 private:
  bool bigEndian_;
  Bytes bytes_;
};

// Bytes that never form a JPEG end marker or a long zero run: stand-ins for raw image data.
inline Bytes rawImageData(std::size_t size, std::uint32_t seed = 1) {
  Bytes data(size);
  std::uint32_t x = seed * 2654435761u + 1;
  for (std::size_t i = 0; i < size; ++i) {
    x = x * 1103515245u + 12345u;
    data[i] = static_cast<std::byte>(0x20 + ((x >> 16) % 0xC0));
  }
  return data;
}

// A small complete JPEG: SOI, APP0, quantisation table, SOS, scan data, EOI.
inline Bytes smallJpeg(std::size_t scanBytes) {
  Bytes jpeg;
  for (int b : {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 0x4A, 0x46, 0x49, 0x46, 0, 1, 1, 0, 0, 1, 0, 1, 0, 0}) {
    jpeg.push_back(static_cast<std::byte>(b));
  }
  for (int b : {0xFF, 0xDB, 0x00, 0x43, 0x00}) jpeg.push_back(static_cast<std::byte>(b));
  for (int i = 0; i < 64; ++i) jpeg.push_back(std::byte{1});
  for (int b : {0xFF, 0xDA, 0x00, 0x08, 0x01, 0x01, 0x00, 0x00, 0x3F, 0x00}) jpeg.push_back(static_cast<std::byte>(b));
  const Bytes scan = rawImageData(scanBytes, 7);
  jpeg.insert(jpeg.end(), scan.begin(), scan.end());
  jpeg.push_back(std::byte{0xFF});
  jpeg.push_back(std::byte{0xD9});
  return jpeg;
}

}  // namespace nua::testing_support
