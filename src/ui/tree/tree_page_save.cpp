// The save button of the tree screen: the question, the folder chooser, the destination checks, and
// the run on a worker under the saving sheet.
#include "tree/tree_page.h"

#include <QFileDialog>
#include <QLabel>
#include <QMetaObject>
#include <QPushButton>

#include "tree/main_thread_ui_bridge.h"
#include "tree/saving_sheet.h"

namespace nua::ui {

std::optional<QString> TreePage::runFolderChooser() {
  if (chooseFolder) return chooseFolder();
  QFileDialog panel(this);
  panel.setFileMode(QFileDialog::Directory);
  panel.setOption(QFileDialog::ShowDirsOnly, true);
  panel.setLabelText(QFileDialog::Accept, "Save");
  panel.setWindowModality(Qt::WindowModal);
  if (panel.exec() != QDialog::Accepted || panel.selectedFiles().isEmpty()) return std::nullopt;
  return panel.selectedFiles().front();
}

void TreePage::saveData() {
  if (!state_ || busy() || !volume_) return;
  saveRun_ = std::make_unique<nua::SaveRun>(*volume_, *state_, *bridge_);
  saveRun_->setProgressSink(&savingSheet_->sink());
  if (!saveRun_->saveData(false)) return;
  const std::optional<QString> path = runFolderChooser();
  if (!path || path->isEmpty()) return;
  if (!saveRun_->checkDestination(path->toStdString())) return;
  saveScanButton_->setEnabled(false);
  backButton_->setEnabled(false);
  saveButton_->setEnabled(false);
  setScanInfoOrSavingNotProcessing(false);
  savedData_->setText(" ");
  startSaving(*path);
}

void TreePage::startSaving(const QString& path) {
  savingSheet_->begin(state_->markedData());
  savingSheet_->stopClicked = [run = saveRun_.get()] { run->abortDataSaving(); };
  // The native file system question comes before the sheet, and the final alert after it: any alert
  // of the run is shown with the sheet down, and the sheet comes back only when the question's "OK"
  // lets the run go on.
  bridge_->show = [this, target = bridge_->show](const nua::Alert& alert) {
    savingSheet_->hide();
    const int answer = target(alert);
    if (alert.buttons.size() == 2 && answer == 0) savingSheet_->open();
    return answer;
  };
  if (!saveRun_->asksAboutFileSystem()) savingSheet_->open();
  worker_ = std::thread([this, where = path.toStdString()] {
    nua::SaveReport report = saveRun_->saveFilesAndFolders(where);
    QMetaObject::invokeMethod(this, [this, report = std::move(report)] { savingDone(report); }, Qt::QueuedConnection);
  });
}

void TreePage::savingDone(const nua::SaveReport& report) {
  joinWorker();
  savingSheet_->hide();
  savingSheet_->stopClicked = nullptr;
  bridge_->resetShow();
  lastSaveReport_ = report;
  // The sheet hears of progress once a second at most; the field shows the total the run reached.
  if (saveRun_ && saveRun_->savedData != 0) {
    savedData_->setText(QString::fromStdString(nua::savedDataText(saveRun_->savedData)));
  }
  backButton_->setEnabled(true);
  setScanInfoOrSavingNotProcessing(true);
  saveButton_->setEnabled(volume_ && volume_->dirRoot != nullptr && volume_->dirRoot->selected == 1);
  if (!report.started) saveScanButton_->setEnabled(true);
  emit savingFinished();
}

}  // namespace nua::ui
