// The sheet over the window while a recovery session is written or read, drawn from the controller's
// session screen: its title line and its indicator.
#pragma once

#include <QFrame>

#include "app/kelvo_recovery_software_app_delegate.h"

class QLabel;
class QProgressBar;

namespace nua::ui {

class SessionSheet : public QFrame {
 public:
  SessionSheet(Kelvo_Recovery_SoftwareAppDelegate& controller, QWidget* window);
  // The controller changed its session screen: show, update or hide the sheet.
  void refresh();

 private:
  Kelvo_Recovery_SoftwareAppDelegate& controller_;
  QLabel* title_ = nullptr;
  QProgressBar* bar_ = nullptr;
};

}  // namespace nua::ui
