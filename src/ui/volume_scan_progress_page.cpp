#include "volume_scan_progress_page.h"

#include <QDateTime>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>

#include "app/lost_volume_search.h"
#include "page_kit.h"

namespace nua::ui {

namespace {
// Orange blended half with white, the colour of the found rows.
const QColor kFoundRowColour(255, 210, 127);
}  // namespace

VolumeScanProgressPage::VolumeScanProgressPage(WizardController& controller)
    : controller_(controller) {
  QVBoxLayout* layout = makePage(this, "PT scan prog", tr("Searching the disk for lost volumes"));
  auto* grid = new QGridLayout;
  started_ = new QLabel;
  elapsed_ = new QLabel;
  remaining_ = new QLabel;
  grid->addWidget(new QLabel(tr("Started:")), 0, 0);
  grid->addWidget(started_, 0, 1);
  grid->addWidget(new QLabel(tr("Elapsed:")), 1, 0);
  grid->addWidget(elapsed_, 1, 1);
  grid->addWidget(new QLabel(tr("Time Remaining:")), 2, 0);
  grid->addWidget(remaining_, 2, 1);
  layout->addLayout(grid);
  bar_ = new QProgressBar;
  bar_->setObjectName("volumeScanBar");
  layout->addWidget(bar_);
  auto* subTask = new QHBoxLayout;
  subTaskLabel_ = new QLabel;
  subTaskRemaining_ = new QLabel;
  subTask->addWidget(subTaskLabel_);
  subTask->addWidget(subTaskRemaining_, 1);
  layout->addLayout(subTask);
  validityBar_ = new QProgressBar;
  validityBar_->setObjectName("validityBar");
  validityBar_->setRange(0, 1);
  validityBar_->setTextVisible(false);
  layout->addWidget(validityBar_);

  found_ = new QTableWidget(0, 2);
  found_->setObjectName("foundVolumes");
  found_->setHorizontalHeaderLabels({tr("Found"), tr("Validity")});
  found_->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
  found_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  found_->setSelectionMode(QAbstractItemView::NoSelection);
  layout->addWidget(found_, 1);

  QPushButton* stop = makeButton(tr("Stop"), "process-stop", QStyle::SP_BrowserStop);
  stop->setObjectName("stopVolumeScan");
  connect(stop, &QPushButton::clicked, this, &VolumeScanProgressPage::stopClicked);
  layout->addLayout(navigationRow(nullptr, nullptr, {stop}));

  elapsedTimer_ = new QTimer(this);
  elapsedTimer_->setInterval(1000);
  connect(elapsedTimer_, &QTimer::timeout, this, &VolumeScanProgressPage::tickElapsed);
}

void VolumeScanProgressPage::tickElapsed() {
  if (!controller_.scanIsRunning) {
    elapsedTimer_->stop();
    return;
  }
  const std::chrono::duration<double> since = std::chrono::system_clock::now() - controller_.scanStartDate;
  elapsed_->setText(QString::fromStdString(getTimeFormStringForInterval(std::max(0.0, since.count()))));
}

void VolumeScanProgressPage::refresh() {
  const VolumeScanScreen& screen = controller_.volumeScanScreen();
  if (controller_.scanIsRunning && !elapsedTimer_->isActive()) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(controller_.scanStartDate.time_since_epoch());
    started_->setText(QDateTime::fromSecsSinceEpoch(seconds.count()).toString("yyyy-MM-dd HH:mm:ss"));
    elapsed_->clear();
    elapsedTimer_->start();
  }
  bar_->setRange(screen.barMinValue, std::max(screen.barMinValue, screen.barMaxValue));
  bar_->setValue(std::clamp(screen.barDoubleValue, bar_->minimum(), bar_->maximum()));
  remaining_->setText(QString::fromStdString(screen.timeRemaining));
  subTaskLabel_->setText(QString::fromStdString(screen.subTaskLabel));
  subTaskRemaining_->setText(QString::fromStdString(screen.subTaskTimeRemaining));
  // A running check shows a busy bar; none, an empty one.
  validityBar_->setRange(0, screen.validityBarAnimating ? 0 : 1);
  validityBar_->setValue(0);
  const auto rows = static_cast<int>(screen.volumeScanFoundArray.size());
  if (found_->rowCount() != rows) {
    found_->setRowCount(rows);
    for (int i = 0; i < rows; ++i) {
      const Dict& row = screen.volumeScanFoundArray[static_cast<std::size_t>(i)];
      auto* foundCell = new QTableWidgetItem(QString::fromStdString(row.string("Found Column")));
      auto* validityCell = new QTableWidgetItem(QString::fromStdString(validityColumnText(row)));
      foundCell->setBackground(kFoundRowColour);
      validityCell->setBackground(kFoundRowColour);
      found_->setItem(i, 0, foundCell);
      found_->setItem(i, 1, validityCell);
    }
    if (rows > 0) found_->scrollToItem(found_->item(rows - 1, 0));
  }
  if (!controller_.scanIsRunning && abortSheet_ != nullptr) abortSheet_->done(QMessageBox::Cancel);
}

void VolumeScanProgressPage::stopClicked() {
  controller_.stopTreeThread();
  if (abortSheet_ != nullptr) return;
  QMessageBox sheet(QMessageBox::Question, tr("Stop Scan"),
                    tr("Do you want to stop the search? The volumes found so far will be listed."),
                    QMessageBox::NoButton, window());
  sheet.setWindowModality(Qt::WindowModal);
  QPushButton* abort = sheet.addButton(tr("Stop Scan"), QMessageBox::DestructiveRole);
  QPushButton* goOn = sheet.addButton(tr("Continue Scan"), QMessageBox::RejectRole);
  sheet.setDefaultButton(goOn);
  abortSheet_ = &sheet;
  sheet.exec();
  abortSheet_ = nullptr;
  if (sheet.clickedButton() == abort) {
    controller_.abortTreeThread();
  } else {
    controller_.dontAbortTreeThread();
  }
}

}  // namespace nua::ui
