// A whole small image as an exFAT volume: boot region and backup, FAT chains, allocation bitmap,
// up-case table and the walk of live and deleted entry sets.
#include <cstddef>
#include <cstdint>

#include "exfat/exfat_volume.h"
#include "fuzz_image.h"
#include "records/entry_ops.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::fuzz::MemoryImage image(data, size);
  if (!image.ok() || image.sectors() < 1) return 0;
  const nua::Dict dict = nua::fuzz::wholeImageVolume(image, "exFAT");
  auto volume = nua::Volume::initWithDictionary(dict, nua::MediaContext{});
  nua::Volume& v = *volume;
  v.resetSigArraysAndBtreesAndOthers();
  v.dirRoot = nua::makeRootDir(*v.arena, v.tables.btree.get());
  nua::ExfatVolume exfat(v, nua::ProgressSink::none());
  (void)exfat.startExfatFileSystemRecovery();
  return 0;
}
