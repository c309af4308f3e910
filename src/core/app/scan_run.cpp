#include "app/scan_run.h"

#include "app/scan_entries.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua {

void startMakingTree(Volume& volume, const ScanArguments& arguments) {
  if (!arguments.empty()) {
    const std::string* last = scanArgumentString(arguments, arguments.size() - 1);
    if (last != nullptr && *last == "auto") volume.autoCrashRecovery = true;
  }
  volume.resetSigArraysAndBtreesAndOthers();
  const std::string* mode = scanArgumentString(arguments, 0);
  volume.scanMode = mode != nullptr ? *mode : "Normal Scan";
  volume.treeScanMode = volume.scanMode == "Advanced Scan" ? 1 : 0;
  const bool signatureSearch = scanArgumentNumber(arguments, 1).value_or(0) != 0;
  (void)signatureSearch;  // no signature search runs after the tree scan yet: the tree is shown as it is

  if (!volume.autoCrashRecovery) {
    const std::string& content = volume.volumeContent;
    if (content.rfind("FAT", 0) == 0) {
      startMakingTreeFAT(volume);
    } else if (content == "exFAT") {
      startMakingTreeExFAT(volume);
    } else if (content.rfind("Apple", 0) == 0) {
      startMakingTreeHFS(volume);
    }
  }
  if (!volume.aborting) {
    volume.finishTree();
    if (volume.dirRoot != nullptr) fixPathNames(volume.dirRoot);
  }
  volume.sendProgress(Dict{{"Progress Status", "default"}, {"Tree Complete", true}}, false);
}

void scanForDeletedFiles(Volume& volume, const ScanArguments& arguments) {
  if (!arguments.empty()) {
    const std::string* last = scanArgumentString(arguments, arguments.size() - 1);
    if (last != nullptr && *last == "auto") volume.autoCrashRecovery = true;
  }
  volume.resetSigArraysAndBtreesAndOthers();
  const std::string& content = volume.volumeContent;
  // Any other content ends the thread without a completion; the volume list never offers one.
  if (content.rfind("Apple", 0) == 0) {
    scanForDeletedFilesHFS(volume, arguments);
  } else if (content.rfind("FAT", 0) == 0) {
    scanForDeletedFilesFAT(volume, arguments);
  } else if (content == "exFAT") {
    scanForDeletedFilesExFAT(volume, arguments);
  }
}

}  // namespace nua
