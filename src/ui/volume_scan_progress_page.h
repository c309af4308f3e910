// "PT scan prog": the lost-volume search under way. The main bar with the time left, the validity bar
// of the check of a found header with its own time, the table of volumes found so far, and Stop.
#pragma once

#include <QWidget>

#include "app/wizard_controller.h"

class QLabel;
class QMessageBox;
class QProgressBar;
class QTableWidget;
class QTimer;

namespace nua::ui {

class VolumeScanProgressPage : public QWidget {
  Q_OBJECT

 public:
  explicit VolumeScanProgressPage(WizardController& controller);
  // Draws the controller's volumeScanScreen().
  void refresh();

 private:
  void stopClicked();
  void tickElapsed();

  WizardController& controller_;
  QProgressBar* bar_ = nullptr;
  QProgressBar* validityBar_ = nullptr;
  QLabel* remaining_ = nullptr;
  QLabel* subTaskLabel_ = nullptr;
  QLabel* subTaskRemaining_ = nullptr;
  QLabel* started_ = nullptr;
  QLabel* elapsed_ = nullptr;
  QTableWidget* found_ = nullptr;
  QTimer* elapsedTimer_ = nullptr;
  QMessageBox* abortSheet_ = nullptr;
};

}  // namespace nua::ui
