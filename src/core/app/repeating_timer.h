// A timer on a thread of its own, for the progress screen's once-a-second hand-over.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace nua {

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

}  // namespace nua
