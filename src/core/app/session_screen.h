// What the tree screen shows while a recovery session is written or read, as a model the front ends
// draw, and the worker thread that does the writing or reading.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "app/main_thread_queue.h"

namespace nua {

struct SessionScreen {
  bool savingSheetVisible = false;   // windowSavingRecoverySession
  bool loadingSheetVisible = false;  // windowLoadingRecoverySession
  bool indeterminate = true;         // the sheet's indicator
  double maxValue = 0.0;
  double doubleValue = 0.0;
  std::string textFieldTreeStatus = " ";
  std::string textFieldTotalData = " ";
  std::string textFieldMarkedData = " ";
  std::string textFieldSavedData = " ";
  // The tree screen's buttons. previewButton true means "when the selected row is a file".
  bool saveScanButton = true;
  bool buttonTreeBackToPartitions = true;
  bool previewButton = true;
  bool saveButton = false;
  bool stopSaveButton = false;
  // Goes up each time a reopened tree replaces the one shown: the view builds itself anew.
  unsigned treeGeneration = 0;
};

// One session job at a time, on a thread of its own. It hands work to the main thread and waits, so
// waiting for it on the main thread keeps serving that queue.
class ScanInfoThread {
 public:
  explicit ScanInfoThread(MainThreadQueue& mainThread) : mainThread_(mainThread) {}
  ~ScanInfoThread() { join(); }
  ScanInfoThread(const ScanInfoThread&) = delete;
  ScanInfoThread& operator=(const ScanInfoThread&) = delete;

  void start(std::function<void()> job) {
    join();
    done_ = false;
    thread_ = std::thread([this, job = std::move(job)] {
      job();
      done_ = true;
    });
  }
  void join() {
    if (!thread_.joinable()) return;
    if (mainThread_.onMainThread())
      while (!done_) mainThread_.runFor(std::chrono::milliseconds(10));
    thread_.join();
  }
  [[nodiscard]] bool running() const { return thread_.joinable() && !done_; }

 private:
  MainThreadQueue& mainThread_;
  std::thread thread_;
  std::atomic<bool> done_{true};
};

}  // namespace nua
