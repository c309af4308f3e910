// The FAT halves of `startMakingTree` and `scanForDeletedFiles`.
#include "app/scan_entries.h"
#include "tree/new_dir_ops.h"

namespace nua {

void startMakingTreeFAT(Volume& volume) { volume.dirRoot = makeRootDir(*volume.arena, volume.btree.get()); }

void scanForDeletedFilesFAT(Volume& volume, const ScanArguments& /*arguments*/) {
  // Until the directory walk lands the result is the root alone.
  volume.dirRoot = makeRootDir(*volume.arena, volume.btree.get());
  volume.sendProgress(
      Dict{{"Progress Status", "Tree Completed ..."}, {"Stop Animation", true}, {"Tree Complete", true}}, false);
}

}  // namespace nua
