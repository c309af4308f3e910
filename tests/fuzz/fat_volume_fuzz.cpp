// A whole small image as a FAT volume: the type decision, the health check and the directory walk
// with deleted entries, long names and cluster chains.
#include <cstddef>
#include <cstdint>

#include "fat/fat_volume.h"
#include "fuzz_image.h"
#include "records/entry_ops.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::fuzz::MemoryImage image(data, size);
  if (!image.ok() || image.sectors() < 1) return 0;
  const nua::Dict dict = nua::fuzz::wholeImageVolume(image, "-");
  auto volume = nua::Volume::initWithDictionary(dict, nua::MediaContext{});
  nua::Volume& v = *volume;
  v.volumeContent = nua::FatVolume::fatFileSystemDetermination(v, dict);
  v.resetSigArraysAndBtreesAndOthers();
  v.dirRoot = nua::makeRootDir(*v.arena, v.tables.btree.get());
  nua::FatVolume fat(v, nua::ProgressSink::none());
  (void)fat.checkFATFileSystemHealthy();
  (void)fat.startFATFileSystemRecovery();
  return 0;
}
