// The tree stream of session and recovery files on the writing side: buffered output to a descriptor,
// one entry record with its name, path and extents, and a whole tree depth first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "records/entry.h"
#include "session/session_file.h"

namespace nua::detail {

// Collects bytes in memory chunks and writes them whole; the first failure sticks.
class StreamOut {
 public:
  explicit StreamOut(int fd);
  void put(std::span<const std::byte> bytes);
  void putU32(std::uint32_t value);
  void putU64(std::uint64_t value);
  void putUnits(const NameBlock& name, std::uint16_t units);
  // Writes what is collected; false once any write has failed.
  bool flush();
  [[nodiscard]] int error() const { return error_; }

 private:
  static constexpr std::size_t kChunk = std::size_t{1} << 20;
  int fd_;
  int error_ = 0;
  std::vector<std::byte> buffer_;
};

// One entry: the 96-byte record, the name, a folder's path and the extents. `children` is the count
// of records that follow as its children.
void writeEntryRecord(StreamOut& out, const Entry* dir, std::uint32_t children, std::uint64_t parentIdentity);

// The tree below root, parents before children, depth first. scanInfoEntryCount goes up by one per
// entry, and the progress steps every 100 entries.
void writeTree(StreamOut& out, const Entry* root, std::uint32_t& scanInfoEntryCount, SessionProgress* progress);

// Writes all of bytes at offset; false on any failure.
[[nodiscard]] bool writeAllAt(int fd, std::span<const std::byte> bytes, std::uint64_t offset);

}  // namespace nua::detail
