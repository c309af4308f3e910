// The sheet over the window while saving runs: bytes saved, a bar up to the marked bytes, the time
// taken, and the stop button. It takes the run's progress from the worker thread.
#pragma once

#include <QDialog>
#include <QPointer>
#include <cstdint>
#include <functional>
#include <string>

#include "save/save_run.h"

class QLabel;
class QProgressBar;
class QPushButton;

namespace nua::ui {

class SavingSheet : public QDialog {
  Q_OBJECT

 public:
  explicit SavingSheet(QWidget* parent = nullptr);

  // Starts a run: the bar goes from 0 to markedData, the texts are blanked, stop is enabled.
  void begin(std::uint64_t markedData);
  // The stop button's action (abortDataSaving of the run).
  std::function<void()> stopClicked;

  // updateTreeProgress: "Saved: ..." and the bar; 0 changes nothing.
  void updateTreeProgress(std::uint64_t savedData);
  void setElapsedTime(const QString& text);

  [[nodiscard]] QString savedText() const;
  [[nodiscard]] QPushButton* stopSaveButton() const { return stop_; }

  // Hands the worker's reports to this sheet on the main thread.
  [[nodiscard]] nua::SaveProgressSink& sink() { return sink_; }

 private:
  class Sink : public nua::SaveProgressSink {
   public:
    explicit Sink(SavingSheet* sheet) : sheet_(sheet) {}
    void updateTreeProgress(std::uint64_t savedData) override;
    void elapsedTime(const std::string& text) override;

   private:
    QPointer<SavingSheet> sheet_;
  };

  QLabel* saved_ = nullptr;
  QLabel* elapsed_ = nullptr;
  QProgressBar* progressTree_ = nullptr;
  QPushButton* stop_ = nullptr;
  std::uint64_t maximum_ = 0;
  Sink sink_{this};
};

}  // namespace nua::ui
