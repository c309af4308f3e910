// What an image's first bytes say before any partition map is read: whether it begins with a bare
// FAT volume (whatever formatted it) rather than a partition table, and the sector size it was
// written with, so that an image of a 4096-byte-sector disk is read in its own sectors.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "base/bytes.h"

namespace nua {

// Reads `out.size()` bytes at a byte offset of the source; false when they cannot be read.
using ByteReader = std::function<bool(std::uint64_t byteOffset, std::span<std::byte> out)>;

// Whether `head` (the source's first sector or more) is the boot sector of a FAT volume: its fields
// pass isFatBootSector and the first table begins with the media descriptor. Boot code that
// fills the partition-table area (as Windows and DOS write it) does not matter. False when the table
// can't be read.
[[nodiscard]] bool beginsWithFatVolume(ByteSpan head, const ByteReader& read);

// The sector size of an image of `sizeBytes` whose `head` holds at least its first 8192 bytes: 4096
// for a GPT at byte 4096 and none at 512, or, with the primary header gone, for a backup header in
// the last 4096 bytes; the boot sector's own bytes per sector for a bare FAT volume; for an MBR the
// size at which its first partition's start holds a FAT boot sector or an HFS+ header; else 512.
[[nodiscard]] std::uint32_t imageSectorSize(ByteSpan head, std::uint64_t sizeBytes, const ByteReader& read);

}  // namespace nua
