// The run of a scan: the main thread's work queue that every scan message goes through, the once-a-
// second timer, and the tree scan's thread entry.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "app/scan_launcher.h"
#include "app/scan_progress.h"
#include "volume/volume.h"

namespace nua {

// Work for the main thread. Other threads post to it; the front end's loop runs what is pending. A
// call made on the main thread itself runs at once, so waiting can't deadlock.
class MainThreadQueue {
 public:
  MainThreadQueue() : mainThread_(std::this_thread::get_id()) {}
  // Makes the calling thread the main thread.
  void adoptCurrentThread() { mainThread_ = std::this_thread::get_id(); }
  [[nodiscard]] bool onMainThread() const { return std::this_thread::get_id() == mainThread_; }

  void post(std::function<void()> work);
  void postAndWait(const std::function<void()>& work);
  // Runs everything pending; returns how many ran.
  std::size_t runPending();
  // Waits up to `timeout` for work, then runs what is pending.
  std::size_t runFor(std::chrono::milliseconds timeout);

 private:
  std::thread::id mainThread_;
  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<std::function<void()>> work_;
};

// A thread that calls `tick` once a second until stopped; one runs at a time.
class RepeatingTimer {
 public:
  RepeatingTimer() = default;
  ~RepeatingTimer() { stop(); }
  RepeatingTimer(const RepeatingTimer&) = delete;
  RepeatingTimer& operator=(const RepeatingTimer&) = delete;
  void start(std::chrono::milliseconds period, std::function<void()> tick);
  void stop();
  [[nodiscard]] bool valid() const { return valid_; }

 private:
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool valid_ = false;
};

// The tree scans' thread entry. Arguments: [0] "Normal Scan" or "Advanced Scan"; [1] non-zero for a
// signature search after the tree; [2] the signatures; a last "auto" marks a crash-recovery run. The
// sink's tick runs for the whole scan; the scan ends by completing with "Tree Complete".
void startMakingTree(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress);

// The deleted-file scans' thread entry. Arguments: [0] 1 to run the file system part; [1] non-zero for
// a signature search; [2] the signatures; [3] the search method; a crash-recovery run ends in the begin
// position and "auto". Hands the volume to the HFS+ or FAT scan by its content, with the sink's tick
// running around it.
void scanForDeletedFiles(Volume& volume, const ScanArguments& arguments, ScanRunSink& progress);

// The sink's tick for the length of one scan: started here, stopped by stop() or at the latest when
// the scan's frame ends, however it ends.
class TicksDuringScan {
 public:
  explicit TicksDuringScan(ScanRunSink& progress) : progress_(progress) { progress_.startTicks(); }
  ~TicksDuringScan() { stop(); }
  TicksDuringScan(const TicksDuringScan&) = delete;
  TicksDuringScan& operator=(const TicksDuringScan&) = delete;
  void stop() {
    if (running_) progress_.stopTicks();
    running_ = false;
  }

 private:
  ScanRunSink& progress_;
  bool running_ = true;
};

}  // namespace nua
