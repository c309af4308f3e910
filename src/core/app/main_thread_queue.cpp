#include "app/main_thread_queue.h"

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

}  // namespace nua
