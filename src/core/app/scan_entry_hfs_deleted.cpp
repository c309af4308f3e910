// The HFS+ half of `scanForDeletedFiles`: deleted entries from the journal's old catalog nodes.
#include "app/scan_entries.h"
#include "tree/new_dir_ops.h"

namespace nua {

void scanForDeletedFilesHFS(Volume& volume, const ScanArguments& /*arguments*/) {
  // Until the journal search lands the result is the root alone.
  volume.dirRoot = makeRootDir(*volume.arena, volume.btree.get());
  volume.sendProgress(Dict{{"Progress Status", "Tree Completed ..."}, {"Tree Complete", true}}, false);
}

}  // namespace nua
