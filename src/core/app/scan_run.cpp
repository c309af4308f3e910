#include "app/scan_run.h"

#include "hfs/hfs_volume.h"
#include "hfs/normal_catalog_scan.h"
#include "hfs/orphan_entries.h"
#include "tree/new_dir_ops.h"
#include "tree/tree_cleanup.h"

namespace nua {

void MainThreadQueue::post(std::function<void()> work) {
  {
    std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
  }
  ready_.notify_all();
}

void MainThreadQueue::postAndWait(const std::function<void()>& work) {
  if (onMainThread()) {
    work();
    return;
  }
  std::mutex doneMutex;
  std::condition_variable doneSignal;
  bool done = false;
  post([&] {
    work();
    std::lock_guard lock(doneMutex);
    done = true;
    doneSignal.notify_all();
  });
  std::unique_lock lock(doneMutex);
  doneSignal.wait(lock, [&] { return done; });
}

std::size_t MainThreadQueue::runPending() {
  std::deque<std::function<void()>> batch;
  {
    std::lock_guard lock(mutex_);
    batch.swap(work_);
  }
  for (auto& work : batch) work();
  return batch.size();
}

std::size_t MainThreadQueue::runFor(std::chrono::milliseconds timeout) {
  {
    std::unique_lock lock(mutex_);
    ready_.wait_for(lock, timeout, [&] { return !work_.empty(); });
  }
  return runPending();
}

void RepeatingTimer::start(std::chrono::milliseconds period, std::function<void()> tick) {
  stop();
  {
    std::lock_guard lock(mutex_);
    valid_ = true;
  }
  thread_ = std::thread([this, period, tick = std::move(tick)] {
    std::unique_lock lock(mutex_);
    while (valid_) {
      if (wake_.wait_for(lock, period, [&] { return !valid_; })) break;
      lock.unlock();
      tick();
      lock.lock();
    }
  });
}

void RepeatingTimer::stop() {
  {
    std::lock_guard lock(mutex_);
    valid_ = false;
  }
  wake_.notify_all();
  if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
}

namespace {

const std::string* stringAt(const ScanArguments& arguments, std::size_t index) {
  if (index >= arguments.size()) return nullptr;
  return std::get_if<std::string>(&arguments[index]);
}

bool numberAt(const ScanArguments& arguments, std::size_t index) {
  if (index >= arguments.size()) return false;
  const auto* number = std::get_if<std::int64_t>(&arguments[index]);
  return number != nullptr && *number != 0;
}

void runHfsTreeScan(Volume& volume) {
  volume.advScanEntriesCanBePutIntoOrphanEntryArray = false;
  volume.aborting = false;
  HfsVolume hfs(volume);
  bool structuresFound = false;
  if (hfs.initializeVIB()) {
    volume.advScanEntriesCanBePutIntoOrphanEntryArray = true;
    structuresFound = hfs.checkCatalogAndExtentsFile();
    if (!structuresFound) hfs.getCatalogExtFromVIB();
  }
  ScanController* controller = Volume::appController();
  if (structuresFound) {
    if (volume.firstLeafNode != 0 && volume.catNodeSize != 0) {
      makeTree(hfs);
      if (volume.orphEntriesTotal != 0) {
        processOrphanEntriesWithIncrement(volume, false, false);
        if (controller != nullptr) controller->invalidateTimer();
      }
    }
    return;
  }
  if (volume.treeScanMode == 1) {
    volume.blockSize = 8;  // no header is there to give another
    return;
  }
  volume.aborting = true;
  if (controller != nullptr) {
    controller->runAlertPanel(
        {"!Can not process", "Key data structures not found. Please try Advance Scan for tree on the desired volume.",
         {"OK"}});
    controller->destroyVolumeAndBackToPartList();
  }
}

}  // namespace

void startMakingTree(Volume& volume, const ScanArguments& arguments) {
  if (!arguments.empty()) {
    const std::string* last = stringAt(arguments, arguments.size() - 1);
    if (last != nullptr && *last == "auto") volume.autoCrashRecovery = true;
  }
  volume.resetSigArraysAndBtreesAndOthers();
  const std::string* mode = stringAt(arguments, 0);
  volume.scanMode = mode != nullptr ? *mode : "Normal Scan";
  volume.treeScanMode = volume.scanMode == "Advanced Scan" ? 1 : 0;
  const bool signatureSearch = numberAt(arguments, 1);
  (void)signatureSearch;  // the signature search joins here once it is built

  if (!volume.autoCrashRecovery) {
    const std::string& content = volume.volumeContent;
    if (content.rfind("FAT", 0) == 0) {
      volume.dirRoot = makeRootDir(*volume.arena, volume.btree.get());
    } else if (content.rfind("Apple", 0) == 0) {
      runHfsTreeScan(volume);
    }
  }
  if (!volume.aborting) {
    volume.processDuplicateEntries();
    if (volume.dirRoot != nullptr) fixPathNames(volume.dirRoot);
  }
  volume.sendProgress(Dict{{"Progress Status", "default"}, {"Tree Complete", true}}, false);
}

}  // namespace nua
