// Alerts of the core as message boxes on the main window: titles, texts and buttons as the core words
// them, the first button the default. Callable from any thread; other threads wait for the answer.
#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <functional>

#include "base/ui_bridge.h"

namespace nua::ui {

class QtUiBridge : public QObject, public UiBridge {
  Q_OBJECT

 public:
  explicit QtUiBridge(QWidget* parentWindow);

  int runAlertPanel(const Alert& alert) override;
  void terminateApp() override;
  void previewClose() override;

  // For tests and screen walks: answers every alert with this button instead of asking, and records it.
  void answerAutomatically(int button) { automaticAnswer_ = button; }
  std::function<void(const Alert&)> alertShown;

 private:
  int ask(const Alert& alert);
  QPointer<QWidget> parentWindow_;
  int automaticAnswer_ = -1;
};

}  // namespace nua::ui
