#include "session_sheet.h"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

namespace nua::ui {

SessionSheet::SessionSheet(WizardController& controller, QWidget* window)
    : QFrame(window), controller_(controller) {
  setObjectName("sessionSheet");
  setFrameStyle(QFrame::Panel | QFrame::Raised);
  setAutoFillBackground(true);
  auto* layout = new QVBoxLayout(this);
  title_ = new QLabel;
  bar_ = new QProgressBar;
  bar_->setTextVisible(false);
  layout->addWidget(title_);
  layout->addWidget(bar_);
  hide();
}

void SessionSheet::refresh() {
  const SessionScreen& screen = controller_.sessionScreen();
  if (!screen.savingSheetVisible && !screen.loadingSheetVisible) {
    hide();
    return;
  }
  title_->setText(screen.savingSheetVisible ? tr("Saving Recovery Session. Please wait ...")
                                            : tr("Opening Recovery Session. Please wait ..."));
  // The indicator counts in thousandths, so large entry counts fit an int.
  if (screen.indeterminate || screen.maxValue <= 0.0) {
    bar_->setRange(0, 0);
  } else {
    bar_->setRange(0, 1000);
    bar_->setValue(static_cast<int>(std::clamp(screen.doubleValue / screen.maxValue, 0.0, 1.0) * 1000.0));
  }
  QWidget* window = parentWidget();
  setGeometry(window->width() / 2 - 200, window->height() / 2 - 45, 400, 90);
  raise();
  show();
}

}  // namespace nua::ui
