// A UiBridge for workers of the tree screen: alerts asked for on another thread are shown on the
// main thread while the worker waits for the answer. Once shut down (the screen is going away), a
// waiting worker gets the alert's last button, the one that stops, and nothing more is shown.
#pragma once

#include <QObject>
#include <QPointer>
#include <atomic>
#include <functional>
#include <memory>

#include "base/ui_bridge.h"

namespace nua::ui {

class MainThreadUiBridge : public nua::UiBridge {
 public:
  // `context` lives on the main thread; alerts are run there, through `show` when it is set.
  MainThreadUiBridge(nua::UiBridge& target, QObject* context);
  ~MainThreadUiBridge() override;

  int runAlertPanel(const nua::Alert& alert) override;
  void terminateApp() override;
  void previewClose() override;

  // Shows an alert on the main thread; the default hands it to the target bridge.
  std::function<int(const nua::Alert&)> show;
  void resetShow();
  void shutDown();

 private:
  struct Pending;
  int runOnMain(const nua::Alert& alert);

  nua::UiBridge& target_;
  QPointer<QObject> context_;
  std::shared_ptr<std::atomic<bool>> down_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace nua::ui
