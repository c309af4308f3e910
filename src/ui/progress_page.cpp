#include "progress_page.h"

#include <QFormLayout>
#include <QMessageBox>
#include <QProgressBar>
#include <QTimer>

#include "page_kit.h"

namespace nua::ui {

ProgressPage::ProgressPage(WizardController& controller, WizardWidgets& widgets)
    : controller_(controller) {
  QVBoxLayout* layout = makePage(this, "Progress", tr("Scanning"));
  status_ = new QLabel;
  status_->setObjectName("scanStatus");
  status_->setWordWrap(true);
  layout->addWidget(status_);
  bar_ = new QProgressBar;
  bar_->setObjectName("scanProgressBar");
  bar_->setTextVisible(false);
  layout->addWidget(bar_);
  percent_ = new QLabel;
  completed_ = new QLabel;
  auto* line = new QHBoxLayout;
  line->addWidget(percent_);
  line->addStretch();
  line->addWidget(completed_);
  layout->addLayout(line);

  auto* form = new QFormLayout;
  form->setLabelAlignment(Qt::AlignRight);
  started_ = new QLabel;
  elapsed_ = new QLabel;
  remaining_ = new QLabel;
  entries_ = new QLabel;
  folders_ = new QLabel;
  files_ = new QLabel;
  data_ = new QLabel;
  elapsed_->setObjectName("elapsed");
  remaining_->setObjectName("timeRemaining");
  percent_->setObjectName("percentDone");
  completed_->setObjectName("completedSize");
  entries_->setObjectName("entriesFound");
  folders_->setObjectName("foldersFound");
  files_->setObjectName("filesFound");
  data_->setObjectName("dataFound");
  form->addRow(tr("Scan started:"), started_);
  form->addRow(tr("Time elapsed:"), elapsed_);
  form->addRow(tr("Time remaining:"), remaining_);
  form->addRow(tr("Entries found:"), entries_);
  form->addRow(tr("Folders:"), folders_);
  form->addRow(tr("Files:"), files_);
  form->addRow(tr("Data:"), data_);
  layout->addLayout(form);
  layout->addStretch();

  widgets.fields.insert(WizardField::kMainScanStatus, [this](const QString& text) {
    status_->setText(text);
    // A new scan: its counters start empty and its clock at zero.
    for (QLabel* label : {remaining_, percent_, completed_, entries_, folders_, files_, data_}) label->clear();
    elapsed_->setText(QString::fromStdString(getTimeFormStringForInterval(0.0)));
    bar_->setRange(0, 0);
    elapsedTimer_->start();
  });
  widgets.fields.insert(WizardField::kScanStartDate, [this](const QString& text) { started_->setText(text); });

  QPushButton* stop = makeButton(tr("Stop"), "process-stop", QStyle::SP_BrowserStop);
  stop->setObjectName("stopScan");
  connect(stop, &QPushButton::clicked, this, &ProgressPage::stopClicked);
  layout->addLayout(navigationRow(nullptr, nullptr, {stop}));

  elapsedTimer_ = new QTimer(this);
  elapsedTimer_->setInterval(1000);
  connect(elapsedTimer_, &QTimer::timeout, this, &ProgressPage::tickElapsed);
}

void ProgressPage::tickElapsed() {
  if (!controller_.scanIsRunning) {
    elapsedTimer_->stop();
    return;
  }
  const std::chrono::duration<double> since = std::chrono::system_clock::now() - controller_.scanStartDate;
  elapsed_->setText(QString::fromStdString(getTimeFormStringForInterval(std::max(0.0, since.count()))));
}

void ProgressPage::refresh() {
  const ProgressScreen& screen = controller_.progressScreen();
  if (!screen.status.empty()) status_->setText(QString::fromStdString(screen.status));
  remaining_->setText(QString::fromStdString(screen.timeRemaining));
  percent_->setText(QString::fromStdString(screen.percentDone));
  completed_->setText(QString::fromStdString(screen.completed));
  entries_->setText(QString::fromStdString(screen.entriesFound));
  folders_->setText(QString::fromStdString(screen.folders));
  files_->setText(QString::fromStdString(screen.files));
  data_->setText(QString::fromStdString(screen.data));
  // The bar counts in thousandths of its range, so 64-bit sector counts fit an int.
  const double span = screen.barMaxValue - screen.barMinValue;
  if (screen.barIndeterminate || span <= 0.0) {
    bar_->setRange(0, screen.barAnimating || controller_.scanIsRunning ? 0 : 1);
  } else {
    bar_->setRange(0, 1000);
    const double share = (screen.barDoubleValue - screen.barMinValue) / span;
    bar_->setValue(static_cast<int>(std::clamp(share, 0.0, 1.0) * 1000.0));
  }
  if (!controller_.scanIsRunning) tickElapsed();
  // The scan ended while the sheet was up: the controller has closed it.
  if (abortSheet_ && !controller_.abortSheetVisible()) abortSheet_->done(QMessageBox::Cancel);
}

void ProgressPage::stopClicked() {
  controller_.stopTreeThread();
  if (abortSheet_) return;
  QMessageBox sheet(QMessageBox::Question, tr("Stop Scan"),
                    tr("Do you want to stop the scan? The result will hold what was found so far."),
                    QMessageBox::NoButton, window());
  sheet.setWindowModality(Qt::WindowModal);
  QPushButton* abort = sheet.addButton(tr("Stop Scan"), QMessageBox::DestructiveRole);
  QPushButton* goOn = sheet.addButton(tr("Continue Scan"), QMessageBox::RejectRole);
  sheet.setDefaultButton(goOn);
  abortSheet_ = &sheet;
  sheet.exec();
  abortSheet_ = nullptr;
  if (sheet.clickedButton() == abort && controller_.abortSheetVisible()) {
    controller_.abortTreeThread();
  } else if (controller_.abortSheetVisible()) {
    controller_.dontAbortTreeThread();
  }
  (void)goOn;
}

}  // namespace nua::ui
