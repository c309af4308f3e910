#include "tree/main_thread_ui_bridge.h"

#include <QMetaObject>
#include <QThread>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace nua::ui {

struct MainThreadUiBridge::Pending {
  std::mutex mutex;
  std::condition_variable done;
  bool answered = false;
  int answer = 0;
};

MainThreadUiBridge::MainThreadUiBridge(nua::UiBridge& target, QObject* context)
    : target_(target), context_(context) {
  resetShow();
}

MainThreadUiBridge::~MainThreadUiBridge() { shutDown(); }

void MainThreadUiBridge::resetShow() {
  show = [this](const nua::Alert& alert) { return target_.runAlertPanel(alert); };
}

void MainThreadUiBridge::shutDown() { *down_ = true; }

int MainThreadUiBridge::runAlertPanel(const nua::Alert& alert) {
  const int stop = alert.buttons.empty() ? 0 : static_cast<int>(alert.buttons.size()) - 1;
  if (*down_ || context_ == nullptr) return stop;
  if (QThread::currentThread() == context_->thread()) return show(alert);
  return runOnMain(alert);
}

int MainThreadUiBridge::runOnMain(const nua::Alert& alert) {
  const int stop = alert.buttons.empty() ? 0 : static_cast<int>(alert.buttons.size()) - 1;
  auto pending = std::make_shared<Pending>();
  auto down = down_;
  QMetaObject::invokeMethod(
      context_.data(),
      [this, pending, down, alert, stop] {
        const int answer = *down ? stop : show(alert);
        std::lock_guard lock(pending->mutex);
        pending->answer = answer;
        pending->answered = true;
        pending->done.notify_all();
      },
      Qt::QueuedConnection);
  // The main thread may be waiting for this worker to end; looking at the flag now and then keeps
  // the two from waiting on each other.
  std::unique_lock lock(pending->mutex);
  while (!pending->done.wait_for(lock, std::chrono::milliseconds(50), [&] { return pending->answered; })) {
    if (*down_) return stop;
  }
  return pending->answer;
}

void MainThreadUiBridge::terminateApp() {
  if (context_ == nullptr) return;
  QMetaObject::invokeMethod(context_.data(), [this] { target_.terminateApp(); }, Qt::QueuedConnection);
}

void MainThreadUiBridge::previewClose() {
  if (context_ == nullptr) return;
  if (QThread::currentThread() == context_->thread()) {
    target_.previewClose();
    return;
  }
  QMetaObject::invokeMethod(context_.data(), [this] { target_.previewClose(); }, Qt::QueuedConnection);
}

}  // namespace nua::ui
