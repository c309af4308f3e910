// Shared by the FAT engine tests: a Volume opened on an image as a partition, the walk as the scan
// thread runs it, saving to a folder, and file digests.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "fat/fat_volume.h"
#include "hfs/hfs_test_support.h"
#include "imagekit/manifest.h"
#include "records/entry_ops.h"
#include "save/recover_to_folder.h"

namespace nua::testing {

inline Dict fatVolumeDict(const std::string& path, std::uint64_t start, std::uint64_t sectors) {
  return Dict{{"Volume Scan Type", 0}, {"Path", path},
              {"Volume Start", start}, {"Volume Size In Sectors", sectors},
              {"Content", "-"},        {"Volume Name", "test"}};
}

struct FatWalk {
  std::unique_ptr<Volume> volume;
  std::uint8_t answer = 0;
};

// The type decision, then the root and the file system recovery, as startMakingTree runs them.
inline FatWalk walkFat(const std::string& path, std::uint64_t start, std::uint64_t sectors,
                       ProgressSink& progress = ProgressSink::none()) {
  FatWalk out;
  Dict dict = fatVolumeDict(path, start, sectors);
  out.volume = Volume::initWithDictionary(dict, MediaContext{});
  Volume& v = *out.volume;
  v.volumeContent = FatVolume::fatFileSystemDetermination(v, dict);
  v.resetSigArraysAndBtreesAndOthers();
  v.dirRoot = makeRootDir(*v.arena, v.tables.btree.get());
  out.answer = FatVolume(v, progress).startFATFileSystemRecovery();
  return out;
}

inline std::string fileSha256(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return imagekit::sha256Hex(std::as_bytes(std::span<const char>(bytes)));
}

// Saves every entry of the walked volume below a fresh folder; returns that folder ("" on failure).
inline std::filesystem::path saveAll(Volume& v, const std::string& tag) {
  const std::filesystem::path out = imageFolder() / ("saved-" + tag);
  std::filesystem::remove_all(out);
  SilentUiBridge ui;
  const RecoverResult result = recoverToFolder(v, {out.string(), {"all"}, false, false}, ui, nullptr);
  if (!result.saved) return {};
  return out / "Root";
}

// A copy of the image with bytes changed at `offset`.
inline std::string patchedCopy(const std::string& path, const std::string& tag, std::uint64_t offset,
                               const std::vector<std::uint8_t>& bytes) {
  const std::string copy = (imageFolder() / (tag + ".img")).string();
  std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
  std::fstream file(copy, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(offset));
  for (std::uint8_t b : bytes) file.put(static_cast<char>(b));
  return copy;
}

}  // namespace nua::testing
