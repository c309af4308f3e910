// The one reading path under every source: a device or raw image, a split raw set, an EWF evidence
// set or a UDIF disk image, each presented as one run of bytes read by 64-bit positioned reads.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace nua {

enum class ReadOutcome { kComplete, kShortAtEnd, kFailed };

enum class ContainerKind { kRaw, kSplitRaw, kEwf, kUdif };

// The name a session and `nua-recover info` give a kind: "raw", "split raw", "E01", "UDIF".
[[nodiscard]] const char* containerKindName(ContainerKind kind);

class ImageContainer {
 public:
  virtual ~ImageContainer() = default;
  [[nodiscard]] virtual ContainerKind kind() const = 0;
  // Bytes of media the container holds (for a UDIF image: of the disk inside it).
  [[nodiscard]] virtual std::uint64_t sizeInBytes() const = 0;
  // Reads buffer.size() bytes at byteOffset. A read that meets the end gives kShortAtEnd and leaves
  // the rest of the buffer as it was; bytes the container cannot produce give kFailed, never zeros.
  // Safe from several threads.
  [[nodiscard]] virtual ReadOutcome readAt(std::uint64_t byteOffset, std::span<std::byte> buffer,
                                           int& errorNumber) const = 0;
};

// Opens `path` read-only as whichever container its name and bytes say it is. On failure returns
// nullptr with `errorNumber` set and, for a damaged or unsupported container, `problem` naming what
// is wrong (empty for a plain open failure).
[[nodiscard]] std::unique_ptr<ImageContainer> openImageContainer(const std::string& path, int& errorNumber,
                                                                 std::string& problem);

}  // namespace nua
