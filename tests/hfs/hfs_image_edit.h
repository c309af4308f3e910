// Test helpers over kit images: the image's bytes, where a catalog node lies in them, and the content
// of an entry read back through its extents for comparison with the manifest's SHA-256.
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "imagekit/manifest.h"
#include "records/entry.h"
#include "volume/volume.h"

namespace nua::testing {

inline std::vector<std::byte> readImage(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> chars((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<std::byte> bytes(chars.size());
  for (std::size_t i = 0; i < chars.size(); ++i) bytes[i] = static_cast<std::byte>(chars[i]);
  return bytes;
}

inline void writeImage(const std::string& path, const std::vector<std::byte>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Byte offset of node `node` of a B-tree file ("catalogFile", "extentsFile") in the image, from the
// manifest's extents of that file.
inline std::uint64_t treeNodeByte(const imagekit::ManifestVolume& volume, const char* file, std::uint64_t node) {
  const auto& tree = volume.extra.at(file);
  const std::uint64_t nodeSize = tree.at("nodeSize").get<std::uint64_t>();
  std::uint64_t forkByte = node * nodeSize;
  for (const auto& extent : tree.at("extents")) {
    const std::uint64_t length = extent.at(1).get<std::uint64_t>() * volume.blockSize;
    if (forkByte < length)
      return volume.extra.at("volumeByteOffset").get<std::uint64_t>() +
             extent.at(0).get<std::uint64_t>() * volume.blockSize + forkByte;
    forkByte -= length;
  }
  return 0;
}

inline std::uint64_t catalogNodeByte(const imagekit::ManifestVolume& volume, std::uint64_t node) {
  return treeNodeByte(volume, "catalogFile", node);
}

inline std::size_t catalogNodeSize(const imagekit::ManifestVolume& volume) {
  return volume.extra.at("catalogFile").at("nodeSize").get<std::size_t>();
}

// The first fileSize bytes of the entry's extents, read as saving reads them.
inline std::string contentSha256(Volume& v, const Entry* dir) {
  const auto sectorBytes = static_cast<std::size_t>(v.u32BytesInSector);
  std::vector<std::byte> content;
  for (const ExtP& e : dir->dataExt) {
    const std::size_t sectors = static_cast<std::size_t>(e.blockCount) * dir->sectorsPerBlock;
    std::vector<std::byte> chunk(sectors * sectorBytes);
    const std::uint64_t sector =
        v.HPlusVolStart + dir->blockBaseSector + static_cast<std::uint64_t>(e.startBlock) * dir->sectorsPerBlock;
    if (!chunk.empty() && v.readSaveSector(sector, static_cast<std::int32_t>(sectors), chunk) == ReadOutcome::kFailed) return "unreadable";
    content.insert(content.end(), chunk.begin(), chunk.end());
    if (content.size() >= dir->fileSize) break;
  }
  if (content.size() < dir->fileSize) return "short";
  content.resize(dir->fileSize);
  return imagekit::sha256Hex(content);
}

}  // namespace nua::testing
