// The sheet over the window while a recovery session is written or read, drawn from the controller's
// session screen: its title line and its indicator.
#pragma once

#include <QFrame>

#include "app/wizard_controller.h"

class QLabel;
class QProgressBar;

namespace nua::ui {

class SessionSheet : public QFrame {
 public:
  SessionSheet(WizardController& controller, QWidget* window);
  // The controller changed its session screen: show, update or hide the sheet.
  void refresh();

 private:
  WizardController& controller_;
  QLabel* title_ = nullptr;
  QProgressBar* bar_ = nullptr;
};

}  // namespace nua::ui
