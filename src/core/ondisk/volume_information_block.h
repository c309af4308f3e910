// The HFS Plus volume header (1024 bytes into the volume, 512 long), decoded into host order.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/parse_result.h"
#include "ondisk/hfs_fork_data.h"

namespace nua {

inline constexpr std::size_t kVolumeInformationBlockSize = 512;
inline constexpr std::uint16_t kSignatureHPlus = 0x482B;  // "H+"
inline constexpr std::uint16_t kSignatureHX = 0x4858;     // "HX"
inline constexpr std::uint16_t kSignatureBD = 0x4244;     // "BD", an HFS master directory block

// Offsets: signature +0 u16, version +2 u16, attributes +4, lastMountedVersion +8, journalInfoBlock +12,
// createDate +16, modifyDate +20, backupDate +24, checkedDate +28, fileCount +32, folderCount +36,
// blockSize +40 (bytes), totalBlocks +44, freeBlocks +48, nextAllocation +52, rsrcClumpSize +56,
// dataClumpSize +60, nextCatalogID +64, writeCount +68, encodingsBitmap +72 u64, finderInfo +80 (8 x u32),
// allocationFile +112, extentsFile +192, catalogFile +272, attributesFile +352, startupFile +432 (forks).
struct VolumeInformationBlock {
  std::uint16_t signature = 0;
  std::uint16_t version = 0;
  std::uint32_t attributes = 0;
  std::uint32_t lastMountedVersion = 0;
  std::uint32_t journalInfoBlock = 0;
  std::uint32_t createDate = 0, modifyDate = 0, backupDate = 0, checkedDate = 0;
  std::uint32_t fileCount = 0, folderCount = 0;
  std::uint32_t blockSize = 0;
  std::uint32_t totalBlocks = 0, freeBlocks = 0, nextAllocation = 0;
  std::uint32_t rsrcClumpSize = 0, dataClumpSize = 0;
  std::uint32_t nextCatalogID = 0, writeCount = 0;
  std::uint64_t encodingsBitmap = 0;
  std::array<std::uint32_t, 8> finderInfo{};
  HFSPlusForkData allocationFile, extentsFile, catalogFile, attributesFile, startupFile;
};

// Bit 13 of attributes: the volume keeps a journal.
inline constexpr std::uint32_t kVolumeJournaledAttribute = 0x2000;

[[nodiscard]] constexpr bool isHfsPlusSignature(std::uint16_t signature) {
  return signature == kSignatureHPlus || signature == kSignatureHX;
}
// An HFS+ volume header, or the master directory block of an HFS wrapper around one.
[[nodiscard]] constexpr bool isHfsVolumeSignature(std::uint16_t signature) {
  return isHfsPlusSignature(signature) || signature == kSignatureBD;
}
// Where the alternate header of a volume of `volumeBytes` bytes starts: 1024 bytes before its end.
// 0 for a volume too small to hold both headers.
[[nodiscard]] constexpr std::uint64_t alternateHeaderByte(std::uint64_t volumeBytes) {
  return volumeBytes >= 2048 ? volumeBytes - 1024 : 0;
}

// Decodes the header from the front of `bytes`; fails only when fewer than 512 bytes are given.
// The signature is not judged here: the volume opener decides what a wrong one means.
[[nodiscard]] Parsed<VolumeInformationBlock> parseVolumeInformationBlock(ByteSpan bytes);

}  // namespace nua
