// Builds an HFS+ or HFSX volume (optionally journaled, with deleted entries left in the journal or in
// free space) into an image at any byte offset, and describes every entry in a manifest volume.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "imagekit/image_file.h"
#include "imagekit/manifest.h"

namespace nua::imagekit {

struct HfsFileSpec {
  std::string path;  // "/Photos/a.jpg"; missing parent folders are created as live folders
  bool folder = false;
  std::vector<std::byte> content;  // the data fork; when empty, patternBytes bytes derived from seed + CNID
  std::uint64_t patternBytes = 0;
  bool deleted = false;         // left out of the live catalog; records survive where deletedRecordsIn says
  std::uint32_t fragments = 1;  // the data fork is written in this many separate extents
  std::uint32_t createDate = 0, modDate = 0;  // HFS seconds since 1904; 0 derives them from the seed
};

// Where the records of deleted entries survive.
enum class HfsDeletedPlacement {
  kJournal,    // old catalog (and extents-overflow) leaf nodes as stale transactions in the journal buffer
  kFreeSpace,  // old catalog leaf nodes in unallocated blocks, as after a reformat
};

struct HfsVolumeSpec {
  std::string volumeName = "Untitled";
  bool hfsx = false;       // 'HX' version 5 with binary name order
  bool journaled = false;  // journal info block plus an empty journal; required for kJournal placement
  std::uint32_t blockSize = 4096;         // 512..65536, a power of two
  std::uint32_t catalogNodeSize = 4096;   // 4096 or 8192
  std::uint32_t extentsNodeSize = 4096;   // 512..32768
  std::uint32_t sectorSize = 512;         // only the manifest geometry and journal sector alignment
  std::uint32_t catalogRecordsPerLeaf = 0;  // caps records per catalog leaf to force index depth; 0 fills
  std::uint32_t extentsRecordsPerLeaf = 0;  // the same for the extents-overflow file
  std::uint32_t catalogExtentCount = 1;     // the catalog file is split into this many extents
  std::uint64_t totalBlocks = 0;            // 0 sizes the volume to its content plus slack
  std::uint64_t journalBytes = 0;           // 0 picks a size that holds every stale node
  HfsDeletedPlacement deletedRecordsIn = HfsDeletedPlacement::kJournal;
  bool journalOlderCopy = true;  // also leave an older copy (fewer records) of one stale catalog node
  std::uint64_t seed = 1;
  std::uint32_t baseDate = 0xE09D4B00;  // HFS seconds; dates of entries are spread after it
  std::vector<HfsFileSpec> files;
};

// Bytes the volume described by `volumeSpec` occupies, so a caller can size an image or a partition first.
// Returns 0 with `error` set when the volumeSpec is invalid.
[[nodiscard]] std::uint64_t hfsVolumeBytes(const HfsVolumeSpec& volumeSpec, std::string& error);

// Writes the volume at `byteOffset` of `out` and fills `manifest` (fileSystem, name, geometry, entries
// and, in `extra`, where the metadata files, catalog nodes and journal lie). Returns false with `error`
// set when the volumeSpec is invalid or the volume does not fit.
[[nodiscard]] bool buildHfsVolume(const HfsVolumeSpec& volumeSpec, ImageWriter& out, std::uint64_t byteOffset,
                                  ManifestVolume& manifest, std::string& error);

// Writes an HFS wrapper (master directory block 'BD') whose embedded volume is `volumeSpec`, and fills
// `manifest` for the embedded volume (its startSector is the embedded volume's).
[[nodiscard]] std::uint64_t hfsWrappedVolumeBytes(const HfsVolumeSpec& volumeSpec, std::string& error);
[[nodiscard]] bool buildHfsWrappedVolume(const HfsVolumeSpec& volumeSpec, ImageWriter& out, std::uint64_t byteOffset,
                                         ManifestVolume& manifest, std::string& error);

}  // namespace nua::imagekit
