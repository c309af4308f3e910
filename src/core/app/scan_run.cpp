#include "app/scan_run.h"

#include "app/scan_entries.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

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

void startMakingTree(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress) {
  TicksDuringScan ticks(progress);
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
      startMakingTreeFAT(volume, progress);
    } else if (content == "exFAT") {
      startMakingTreeExFAT(volume, progress);
    } else if (content.rfind("Apple", 0) == 0) {
      startMakingTreeHFS(volume, progress);
    }
  }
  if (!volume.aborting) {
    volume.finishTree(progress);
    if (volume.dirRoot != nullptr) fixPathNames(volume.dirRoot);
  }
  // Once the completion is shown the next scan may start, and waits for this thread: nothing here may
  // wait on the main thread after it.
  ticks.stop();
  ScanProgress complete = ScanProgress::withStatus(progress_text::kScanStatus);
  complete.treeComplete = true;
  progress.complete(complete);
}

void scanForDeletedFiles(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress) {
  TicksDuringScan ticks(progress);
  if (!arguments.empty()) {
    const std::string* last = scanArgumentString(arguments, arguments.size() - 1);
    if (last != nullptr && *last == "auto") volume.autoCrashRecovery = true;
  }
  volume.resetSigArraysAndBtreesAndOthers();
  const std::string& content = volume.volumeContent;
  // Any other content ends the thread without a completion; the volume list never offers one.
  std::optional<ScanProgress> last;
  if (content.rfind("Apple", 0) == 0) {
    last = scanForDeletedFilesHFS(volume, arguments, progress);
  } else if (content.rfind("FAT", 0) == 0) {
    last = scanForDeletedFilesFAT(volume, arguments, progress);
  } else if (content == "exFAT") {
    last = scanForDeletedFilesExFAT(volume, arguments, progress);
  }
  ticks.stop();  // before the completion, as in startMakingTree
  if (last) progress.complete(*last);
}

}  // namespace nua
