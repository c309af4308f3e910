// The find field of the tree screen with its result and position lines and the four buttons. The
// search walks on a worker and hands hits over in batches; stepping, texts and marks are the core's
// TreeFind. Selecting a hit expands its ancestors and scrolls to it.
#pragma once

#include <QWidget>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "view/tree_find.h"

class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace nua {
class TreeViewState;
}

namespace nua::ui {

class FindBar : public QWidget {
  Q_OBJECT

 public:
  explicit FindBar(QWidget* parent = nullptr);
  ~FindBar() override;

  // The view the search runs over; null while none is shown (or a switch is running).
  void setViewState(nua::TreeViewState* state) { state_ = state; }
  // A view switch or a new result: the search stops and is waited for, hits and lines are cleared.
  void stopAndClear();
  // Show a hit: the tree page expands its ancestors, selects its row and scrolls to it.
  std::function<void(nua::Entry*)> selectHit;
  // The marks of the hits changed: rows and totals follow.
  std::function<void()> marksChanged;

  [[nodiscard]] QLineEdit* findField() const { return findField_; }
  [[nodiscard]] QPushButton* markAllButton() const { return markAllButton_; }
  [[nodiscard]] QPushButton* unmarkAllButton() const { return unmarkAllButton_; }
  [[nodiscard]] QPushButton* prevButton() const { return prevButton_; }
  [[nodiscard]] QPushButton* nextButton() const { return nextButton_; }
  [[nodiscard]] QString findTextField() const;
  [[nodiscard]] QString findTextFieldSelectedIndex() const;
  [[nodiscard]] bool searching() const { return worker_.joinable() && !done_; }
  [[nodiscard]] const nua::TreeFind& treeFind() const { return find_; }

 signals:
  void searchFinished();

 private:
  void find();
  void findThreadComplete(std::uint64_t generation);
  void findNext();
  void findPrev();
  void markAllFound();
  void unmarkAllFound();
  void updateButtons();
  void joinWorker();

  nua::TreeViewState* state_ = nullptr;
  nua::TreeFind find_;
  std::thread worker_;
  std::atomic<bool> findThreadAbort_{false};
  std::uint64_t generation_ = 0;
  bool done_ = true;

  QLineEdit* findField_ = nullptr;
  QLabel* findTextField_ = nullptr;
  QLabel* findTextFieldSelectedIndex_ = nullptr;
  QProgressBar* findProgress_ = nullptr;
  QPushButton* markAllButton_ = nullptr;
  QPushButton* unmarkAllButton_ = nullptr;
  QPushButton* prevButton_ = nullptr;
  QPushButton* nextButton_ = nullptr;
};

}  // namespace nua::ui
