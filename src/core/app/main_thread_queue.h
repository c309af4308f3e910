// The main thread's work queue: every message a scan sends to the controller goes through it, and the
// front end's loop runs what is pending.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

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

}  // namespace nua
