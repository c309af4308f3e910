// A UDIF (.dmg) disk image read in place: its trailer and block tables map each 512-byte sector of
// the disk inside to a raw, zero, zlib or bzip2 chunk, and recently inflated chunks are kept so that
// a sequential scan inflates each chunk once.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "container/raw_file.h"
#include "container/udif_block_table.h"

namespace nua {

// True when the file at `path` ends with a "koly" trailer.
[[nodiscard]] bool hasUdifTrailer(const RawFile& file);

class UdifImage final : public ImageContainer {
 public:
  // Reads the trailer and the block tables. A damaged structure, chunks that overlap or lie outside
  // the file, or chunks in a compression this program has no decoder for give nullptr and `problem`.
  [[nodiscard]] static std::unique_ptr<UdifImage> open(std::unique_ptr<RawFile> file, int& errorNumber,
                                                       std::string& problem);

  [[nodiscard]] ContainerKind kind() const override { return ContainerKind::kUdif; }
  [[nodiscard]] std::uint64_t sizeInBytes() const override { return sizeInBytes_; }
  // Sectors no chunk covers, and chunks that do not inflate to their size, are failed reads.
  [[nodiscard]] ReadOutcome readAt(std::uint64_t byteOffset, std::span<std::byte> buffer,
                                   int& errorNumber) const override;
  [[nodiscard]] const std::vector<UdifChunk>& chunks() const { return chunks_; }

 private:
  explicit UdifImage(std::unique_ptr<RawFile> file) : file_(std::move(file)) {}
  // The chunk's inflated bytes, from the cache or freshly inflated; nullptr when it cannot be.
  [[nodiscard]] std::shared_ptr<const std::vector<std::byte>> inflatedChunk(std::size_t index, int& errorNumber) const;

  std::unique_ptr<RawFile> file_;
  std::vector<UdifChunk> chunks_;  // in sector order, not overlapping
  std::uint64_t sizeInBytes_ = 0;
  struct CachedChunk {
    std::size_t index;
    std::shared_ptr<const std::vector<std::byte>> bytes;
  };
  mutable std::mutex cacheMutex_;
  mutable std::list<CachedChunk> cache_;  // most recently used first
};

}  // namespace nua
