#include "tree/saving_sheet.h"

#include <QLabel>
#include <QMetaObject>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

namespace nua::ui {

namespace {

// The bar counts in steps of a thousandth: marked bytes do not fit its int range.
constexpr int kBarSteps = 1000;

}  // namespace

SavingSheet::SavingSheet(QWidget* parent) : QDialog(parent) {
  setWindowModality(Qt::WindowModal);
  setWindowTitle("Saving");
  auto* layout = new QVBoxLayout(this);
  saved_ = new QLabel(" ", this);
  progressTree_ = new QProgressBar(this);
  progressTree_->setRange(0, kBarSteps);
  progressTree_->setTextVisible(false);
  elapsed_ = new QLabel(" ", this);
  stop_ = new QPushButton("Stop", this);
  layout->addWidget(saved_);
  layout->addWidget(progressTree_);
  layout->addWidget(elapsed_);
  layout->addWidget(stop_, 0, Qt::AlignRight);
  connect(stop_, &QPushButton::clicked, this, [this] {
    if (stopClicked) stopClicked();
  });
  setMinimumWidth(420);
}

void SavingSheet::begin(std::uint64_t markedData) {
  maximum_ = markedData;
  progressTree_->setValue(0);
  saved_->setText(" ");
  elapsed_->setText(" ");
  stop_->setEnabled(true);
}

void SavingSheet::updateTreeProgress(std::uint64_t savedData) {
  if (savedData == 0) return;
  saved_->setText(QString::fromStdString(nua::savedDataText(savedData)));
  const double part = maximum_ == 0 ? 1.0 : static_cast<double>(savedData) / static_cast<double>(maximum_);
  progressTree_->setValue(static_cast<int>(std::min(part, 1.0) * kBarSteps));
}

void SavingSheet::setElapsedTime(const QString& text) { elapsed_->setText(text); }

QString SavingSheet::savedText() const { return saved_->text(); }

void SavingSheet::Sink::updateTreeProgress(std::uint64_t savedData) {
  QMetaObject::invokeMethod(
      sheet_.data(), [sheet = sheet_, savedData] { if (sheet) sheet->updateTreeProgress(savedData); },
      Qt::QueuedConnection);
}

void SavingSheet::Sink::elapsedTime(const std::string& text) {
  QMetaObject::invokeMethod(
      sheet_.data(), [sheet = sheet_, text = QString::fromStdString(text)] { if (sheet) sheet->setElapsedTime(text); },
      Qt::QueuedConnection);
}

}  // namespace nua::ui
