// Builds a FAT12/16/32 volume with mkfs.fat and mtools in a scratch file, replaying a list of folder,
// file and delete operations, then reads it back to describe every live and deleted entry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <string>
#include <vector>

#include "imagekit/fat_geometry.h"
#include "imagekit/image_file.h"
#include "imagekit/manifest.h"

namespace nua::imagekit {

struct FatOperation {
  enum class Kind { MakeFolder, WriteFile, Delete, DeleteTree };
  Kind kind = Kind::WriteFile;
  std::string path;  // "/Folder/Long file name.txt"
  std::vector<std::byte> content;  // WriteFile only
};

struct FatVolumePlan {
  FatKind kind = FatKind::Fat16;
  std::uint32_t sizeKiB = 8192;
  std::uint32_t sectorsPerCluster = 1;
  std::uint32_t sectorSize = 512;
  std::string label = "NUA";
  std::uint32_t volumeId = 0x4E554131;
  std::uint64_t seed = 1;  // decides the dates stamped on every entry
  std::vector<std::string> formatOptions;  // further mkfs.fat options ("-M", "0xF0", "-h", "63", ...)
  std::vector<FatOperation> operations;  // replayed in order
};

// What a live entry was just before mtools deleted it, keyed by its slot offset and first cluster.
struct FatDeletedRecord {
  std::string path;
  std::string name;
  std::vector<std::uint32_t> clusters;
  std::string originalSha256;  // of the content at deletion; empty for folders
};
using FatDeletedKey = std::pair<std::uint64_t, std::uint32_t>;

struct FatBuild {
  std::vector<std::byte> volume;  // the whole volume, sizeKiB * 1024 bytes
  FatGeometry geometry;
  ManifestVolume manifest;  // startSector 0; callers placing the volume in a map set it
  std::map<FatDeletedKey, FatDeletedRecord> deletedRecords;
};

// Runs the operations and describes the result. Deleted entries get the clusters they had just before
// their deletion, and the hash of what those clusters hold now; the volume's extra "deletedContent"
// says per path whether those clusters were contiguous and whether they still hold the old bytes.
// Fails with `error` when mkfs.fat or mtools is missing or fails, or a live file reads back wrong.
[[nodiscard]] bool buildFatVolume(const FatVolumePlan& plan, FatBuild& build, std::string& error);

// Fills manifest entries (paths, clusters, hashes, dates) from the volume as it now stands; used again
// after a scenario patches the bytes. Keeps the deleted entries' clusters found by buildFatVolume.
void describeFatVolume(FatBuild& build);

// Copies the volume into an image at `byteOffset`, skipping all-zero blocks so the image stays sparse.
void writeFatVolume(const FatBuild& build, ImageWriter& out, std::uint64_t byteOffset);

// Deterministic filler bytes for test files: text-like lines mixed from `seed`.
[[nodiscard]] std::vector<std::byte> fatSampleContent(std::uint64_t seed, std::size_t lengthBytes);

}  // namespace nua::imagekit
