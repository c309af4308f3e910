#include "app/repeating_timer.h"

namespace nua {

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

}  // namespace nua
