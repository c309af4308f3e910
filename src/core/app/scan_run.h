// The scan threads' entries: the tree scan and the deleted-file scan, each run on a volume with the
// argument array the wizard built.
#pragma once

#include "app/main_thread_queue.h"
#include "app/repeating_timer.h"
#include "app/scan_launcher.h"
#include "volume/volume.h"

namespace nua {

// The tree scans' thread entry. Arguments: [0] "Normal Scan" or "Advanced Scan"; [1] non-zero for a
// signature search after the tree; [2] the signatures; a last "auto" marks a crash-recovery run. Ends by
// sending "Tree Complete" to the controller.
void startMakingTree(Volume& volume, const ScanArguments& arguments);

// The deleted-file scans' thread entry. Arguments: [0] 1 to run the file system part; [1] non-zero for
// a signature search; [2] the signatures; [3] the search method; a crash-recovery run ends in the begin
// position and "auto". Hands the volume to the HFS+ or FAT scan by its content.
void scanForDeletedFiles(Volume& volume, const ScanArguments& arguments);

}  // namespace nua
