// "Progress": the bar, status, counters, elapsed and remaining time of a running scan as the
// controller's progress screen holds them, and the stop button with its confirmation sheet.
#pragma once

#include <QWidget>

#include "app/wizard_controller.h"
#include "wizard_widgets.h"

class QLabel;
class QProgressBar;
class QMessageBox;
class QTimer;

namespace nua::ui {

class ProgressPage : public QWidget {
 public:
  ProgressPage(WizardController& controller, WizardWidgets& widgets);

  // The controller changed the progress screen: redraw from it.
  void refresh();
  // The sheet that asks whether to stop, while it is up.
  [[nodiscard]] QMessageBox* abortSheet() const { return abortSheet_; }

 private:
  void stopClicked();
  void tickElapsed();

  WizardController& controller_;
  QLabel* status_ = nullptr;
  QLabel* started_ = nullptr;
  QLabel* elapsed_ = nullptr;
  QLabel* remaining_ = nullptr;
  QLabel* percent_ = nullptr;
  QLabel* completed_ = nullptr;
  QLabel* entries_ = nullptr;
  QLabel* folders_ = nullptr;
  QLabel* files_ = nullptr;
  QLabel* data_ = nullptr;
  QProgressBar* bar_ = nullptr;
  QMessageBox* abortSheet_ = nullptr;
  QTimer* elapsedTimer_ = nullptr;
};

}  // namespace nua::ui
