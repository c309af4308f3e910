// Writes folders and files into a blank volume made by mkfs.exfat, without mounting it: entry sets
// with their checksums and name hashes, allocation bitmap and FAT, and deletion the way the Linux and
// Windows drivers do it. Every entry written goes into the manifest.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "imagekit/manifest.h"

namespace nua::imagekit {

// How a file's clusters are chosen: one run (NoFatChain set) or every other free cluster (a FAT chain).
enum class ExfatLayout { kContiguous, kFragmented };
// How a deletion is done. Both clear the InUse bits and the bitmap bits; Linux leaves the FAT chain,
// Windows zeroes it.
enum class ExfatDeletion { kLinux, kWindows };

class ExfatWriter {
 public:
  // Formats an image of `sizeBytes` with mkfs.exfat (cluster size `clusterBytes`, label `label`) and
  // reads it in; false with `error` set when the tool is missing or its volume can't be read.
  [[nodiscard]] bool format(const std::string& scratchPath, std::uint64_t sizeBytes, std::uint32_t clusterBytes,
                            const std::string& label, std::string& error);

  // Adds a folder or file under `parentPath` ("" for the root); names are UTF-8. False when the parent
  // is unknown, its directory is full or the volume has no room.
  [[nodiscard]] bool addFolder(const std::string& parentPath, const std::string& name, std::string& error);
  [[nodiscard]] bool addFile(const std::string& parentPath, const std::string& name,
                             const std::vector<std::byte>& content, ExfatLayout layout, std::string& error);
  // Deletes the live entry at `path` (a folder with everything in it, children first).
  [[nodiscard]] bool remove(const std::string& path, ExfatDeletion how, std::string& error);

  // Zeroes the main boot sector, so readers must use the backup region.
  void damageMainBootSector();

  [[nodiscard]] const std::vector<std::byte>& image() const { return image_; }
  [[nodiscard]] ManifestVolume& manifest() { return manifest_; }
  [[nodiscard]] std::uint32_t clusterBytes() const { return clusterBytes_; }

 private:
  struct Placed {
    std::size_t manifestIndex = 0;
    std::uint64_t entryByte = 0;  // image offset of the file entry
    std::size_t entryCount = 0;
    std::vector<std::uint32_t> clusters;
    bool folder = false;
  };

  [[nodiscard]] std::vector<std::uint32_t> allocate(std::uint64_t count, ExfatLayout layout);
  void setBitmap(std::uint32_t cluster, bool used);
  void setFat(std::uint32_t cluster, std::uint32_t value);
  [[nodiscard]] std::uint64_t clusterByte(std::uint32_t cluster) const;
  [[nodiscard]] char16_t upcase(char16_t unit) const;
  [[nodiscard]] bool place(const std::string& parentPath, const std::string& name, bool folder,
                           const std::vector<std::byte>& content, ExfatLayout layout, std::string& error);

  std::vector<std::byte> image_;
  std::uint32_t sectorBytes_ = 512;
  std::uint32_t clusterBytes_ = 0;
  std::uint64_t fatByte_ = 0;
  std::uint64_t heapByte_ = 0;
  std::uint32_t clusterCount_ = 0;
  std::uint32_t bitmapCluster_ = 0;
  std::vector<char16_t> upcaseTable_;
  std::map<std::string, std::uint32_t> folders_;  // path -> first cluster of its directory (root: "")
  std::map<std::string, Placed> live_;
  ManifestVolume manifest_;
  std::uint32_t stamp_ = 0;
};

// The packed exFAT date and time for the fields given.
[[nodiscard]] std::uint32_t exfatPackedTimestamp(unsigned year, unsigned month, unsigned day, unsigned hour,
                                                 unsigned minute, unsigned second);

}  // namespace nua::imagekit
