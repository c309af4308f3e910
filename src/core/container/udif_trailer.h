// The 512-byte "koly" trailer at the end of a UDIF (.dmg) image: where the data fork and the
// property list with the block tables are, and how many 512-byte sectors the disk inside holds.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>

namespace nua {

// Layout (big-endian):
//   0  4 signature "koly"          4  4 version (4)          8  4 headerSize (512)
//  12  4 flags                    16  8 runningDataForkOffset
//  24  8 dataForkOffset           32  8 dataForkLength
//  40  8 rsrcForkOffset           48  8 rsrcForkLength
//  56  4 segmentNumber            60  4 segmentCount         64 16 segmentID
//  80  4 dataChecksumType         84  4 dataChecksumSize     88 128 dataChecksum
// 216  8 xmlOffset               224  8 xmlLength           232 120 reserved
// 352  4 checksumType            356  4 checksumSize        360 128 checksum
// 488  4 imageVariant            492  8 sectorCount         500 12 reserved
constexpr std::size_t kUdifTrailerSize = 512;
constexpr std::uint32_t kUdifTrailerSignature = 0x6b6f6c79;  // "koly"

struct UdifTrailer {
  std::uint32_t version = 0;
  std::uint64_t dataForkOffset = 0;
  std::uint64_t dataForkLength = 0;
  std::uint64_t xmlOffset = 0;
  std::uint64_t xmlLength = 0;
  std::uint32_t segmentNumber = 0;
  std::uint32_t segmentCount = 0;
  std::uint64_t sectorCount = 0;
};

struct UdifProblem {
  std::string message;
};

// Decodes the trailer from its 512 bytes; a wrong signature, header size or a short span is a problem.
[[nodiscard]] std::variant<UdifTrailer, UdifProblem> parseUdifTrailer(std::span<const std::byte> bytes);

}  // namespace nua
