// The "Tree" screen: the outline of the recovered tree with its check boxes, the view toggles, the
// totals, saving into a chosen folder, and the ways back. It draws and forwards; the decisions are
// the core's (TreeViewState, CheckController, SaveRun).
#pragma once

#include <QString>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "app/wizard_controller.h"
#include "base/ui_bridge.h"
#include "save/save_run.h"
#include "view/tree_view_state.h"

class QLabel;
class QPushButton;
class QTreeView;
class QDialog;
class QHideEvent;

namespace nua::ui {

class FindBar;
class MainThreadUiBridge;
class PreviewWindow;
class RecordTreeModel;
class SavingSheet;

class TreePage : public QWidget {
  Q_OBJECT

 public:
  TreePage(nua::WizardController& controller, nua::UiBridge& ui, QWidget* parent = nullptr);
  ~TreePage() override;

  // The controller has shown "Tree": takes the selected volume's result and shows its data view of
  // all entries.
  void showResult();
  // Lets go of the result (views back to the data tree, helpers freed). Best called before the
  // controller frees the tree; leaving the screen already detaches the outline from the records.
  void releaseResult();

  // The folder chooser; tests put a function here that answers without a dialog (nullopt: cancelled).
  std::function<std::optional<QString>()> chooseFolder;
  // False while a saving run is busy: marks then answer "Process Running".
  [[nodiscard]] bool scanInfoOrSavingNotProcessing() const { return scanInfoOrSavingNotProcessing_; }
  void setScanInfoOrSavingNotProcessing(bool value);

  [[nodiscard]] QTreeView* outlineViewData() const { return outline_; }
  [[nodiscard]] RecordTreeModel* model() const { return model_; }
  [[nodiscard]] nua::TreeViewState* viewState() const { return state_.get(); }
  [[nodiscard]] QPushButton* buttonTreeFileTypesToggle() const { return fileTypesToggle_; }
  [[nodiscard]] QPushButton* buttonTreeShowDeleted() const { return deletedToggle_; }
  [[nodiscard]] QPushButton* saveButton() const { return saveButton_; }
  [[nodiscard]] QPushButton* saveScanButton() const { return saveScanButton_; }
  [[nodiscard]] QPushButton* buttonTreeBackToPartitions() const { return backButton_; }
  // The "View File" button, the preview window and the find field with its buttons.
  [[nodiscard]] QPushButton* previewButton() const { return previewButton_; }
  [[nodiscard]] PreviewWindow* previewWindow() const { return previewWindow_; }
  [[nodiscard]] FindBar* findBar() const { return findBar_; }
  [[nodiscard]] QString textFieldTotalData() const;
  [[nodiscard]] QString textFieldMarkedData() const;
  [[nodiscard]] QString textFieldSavedData() const;
  [[nodiscard]] const nua::SaveReport& lastSaveReport() const { return lastSaveReport_; }
  [[nodiscard]] bool busy() const { return worker_.joinable(); }

 public slots:
  // The two view buttons: the switch runs on a worker under a sheet.
  void toggleTreeFileTypes();
  void toggleTreeDeleted();
  // The save button: the question, the folder chooser, the checks, then the run on a worker.
  void saveData();
  // The "View File" button, a double click, and a new selection while the window is open.
  void preview();

 signals:
  void backClicked();
  void homeClicked();
  void saveSessionClicked();
  // A view switch has ended and the outline shows the new view.
  void treePrepared();
  // A saving run has ended (also when the native file system question was answered with Cancel).
  void savingFinished();

 protected:
  void hideEvent(QHideEvent* event) override;

 private:
  void dropStaleState();
  void runSheetForPreparingTree(nua::TreeToggle pressed);
  void treeSwitchDone();
  void showTreeModified();
  void countMarkedDataAndFiles();
  void startSaving(const QString& path);
  void savingDone(const nua::SaveReport& report);
  void joinWorker();
  [[nodiscard]] std::optional<QString> runFolderChooser();
  void outlineViewSelectionDidChange();
  void showFindHit(nua::Entry* hit);

  nua::WizardController& controller_;
  std::unique_ptr<MainThreadUiBridge> bridge_;
  std::shared_ptr<nua::Volume> volume_;  // the source of the result shown, kept while a run reads it
  std::unique_ptr<nua::TreeViewState> state_;
  std::unique_ptr<nua::SaveRun> saveRun_;
  nua::SaveReport lastSaveReport_;
  std::thread worker_;
  bool scanInfoOrSavingNotProcessing_ = true;

  RecordTreeModel* model_ = nullptr;
  QTreeView* outline_ = nullptr;
  QPushButton* backButton_ = nullptr;
  QPushButton* homeButton_ = nullptr;
  QPushButton* fileTypesToggle_ = nullptr;
  QPushButton* deletedToggle_ = nullptr;
  QPushButton* saveScanButton_ = nullptr;
  QPushButton* saveButton_ = nullptr;
  QLabel* totalData_ = nullptr;
  QLabel* markedData_ = nullptr;
  QLabel* savedData_ = nullptr;
  QPushButton* previewButton_ = nullptr;
  PreviewWindow* previewWindow_ = nullptr;
  FindBar* findBar_ = nullptr;
  QDialog* preparingSheet_ = nullptr;
  SavingSheet* savingSheet_ = nullptr;
};

}  // namespace nua::ui
