#include "tree/find_bar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>

#include "base/text.h"
#include "view/tree_view_state.h"

namespace nua::ui {

FindBar::FindBar(QWidget* parent) : QWidget(parent) {
  findField_ = new QLineEdit(this);
  findField_->setPlaceholderText("Find");
  findField_->setClearButtonEnabled(true);
  findTextField_ = new QLabel(" ", this);
  findTextFieldSelectedIndex_ = new QLabel(" ", this);
  findProgress_ = new QProgressBar(this);
  findProgress_->setRange(0, 1);
  findProgress_->setTextVisible(false);
  findProgress_->setMaximumWidth(60);
  findProgress_->setVisible(false);  // spins only while a search runs
  markAllButton_ = new QPushButton("Mark All", this);
  unmarkAllButton_ = new QPushButton("Unmark All", this);
  prevButton_ = new QPushButton("Previous", this);
  nextButton_ = new QPushButton("Next", this);
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  findField_->setMinimumWidth(220);
  layout->addWidget(findField_);
  layout->addWidget(findProgress_);
  layout->addWidget(findTextField_);
  layout->addWidget(findTextFieldSelectedIndex_);
  layout->addStretch();
  for (QPushButton* button : {prevButton_, nextButton_, markAllButton_, unmarkAllButton_}) layout->addWidget(button);
  connect(findField_, &QLineEdit::returnPressed, this, &FindBar::find);
  connect(nextButton_, &QPushButton::clicked, this, &FindBar::findNext);
  connect(prevButton_, &QPushButton::clicked, this, &FindBar::findPrev);
  connect(markAllButton_, &QPushButton::clicked, this, &FindBar::markAllFound);
  connect(unmarkAllButton_, &QPushButton::clicked, this, &FindBar::unmarkAllFound);
  updateButtons();
}

FindBar::~FindBar() {
  findThreadAbort_ = true;
  joinWorker();
}

QString FindBar::findTextField() const { return findTextField_->text(); }
QString FindBar::findTextFieldSelectedIndex() const { return findTextFieldSelectedIndex_->text(); }

void FindBar::joinWorker() {
  if (worker_.joinable()) worker_.join();
}

void FindBar::updateButtons() {
  markAllButton_->setEnabled(find_.markAllEnabled());
  unmarkAllButton_->setEnabled(find_.unmarkAllEnabled());
  prevButton_->setEnabled(find_.stepEnabled());
  nextButton_->setEnabled(find_.stepEnabled());
}

void FindBar::stopAndClear() {
  // The walk reads records only in memory and tests its abort flag per record: the wait is short.
  findThreadAbort_ = true;
  joinWorker();
  ++generation_;
  done_ = true;
  find_.clear();
  findProgress_->setRange(0, 1);
  findProgress_->setVisible(false);
  findTextField_->setText(" ");
  findTextFieldSelectedIndex_->setText(" ");
  updateButtons();
}

void FindBar::find() {
  if (state_ == nullptr || state_->dirRootTemp() == nullptr) return;
  if (!find_.find()) return;
  findTextField_->setText(" ");
  findTextFieldSelectedIndex_->setText(" ");
  // The one before is cut off and waited for.
  findThreadAbort_ = true;
  joinWorker();
  findThreadAbort_ = false;
  find_.searchStarted();
  updateButtons();
  findProgress_->setRange(0, 0);
  findProgress_->setVisible(true);
  done_ = false;
  const std::uint64_t generation = ++generation_;
  const std::u16string text = nua::toUtf16(findField_->text().toStdString());
  nua::Entry* root = state_->dirRootTemp();
  QPointer<FindBar> self(this);
  worker_ = std::thread([this, self, generation, text, root, names = nua::shownFolderNamesOf(*state_)] {
    nua::findStringInDir(text, root, names, findThreadAbort_, [self, generation](std::vector<nua::Entry*> hits) {
      QMetaObject::invokeMethod(
          self, [self, generation, hits = std::move(hits)] {
            if (!self || generation != self->generation_) return;
            self->findTextField_->setText(QString::fromStdString(self->find_.addHits(hits)));
          },
          Qt::QueuedConnection);
    });
    QMetaObject::invokeMethod(
        self, [self, generation] {
          if (self) self->findThreadComplete(generation);
        },
        Qt::QueuedConnection);
  });
}

void FindBar::findThreadComplete(std::uint64_t generation) {
  if (generation != generation_) return;
  done_ = true;
  joinWorker();
  findProgress_->setRange(0, 1);
  findProgress_->setVisible(false);
  findTextField_->setText(QString::fromStdString(find_.searchComplete()));
  updateButtons();
  emit searchFinished();
}

void FindBar::findNext() {
  if (nua::Entry* hit = find_.findNext(); hit != nullptr && selectHit) selectHit(hit);
  findTextFieldSelectedIndex_->setText(QString::fromStdString(find_.selectedIndexText()));
}

void FindBar::findPrev() {
  if (nua::Entry* hit = find_.findPrev(); hit != nullptr && selectHit) selectHit(hit);
  findTextFieldSelectedIndex_->setText(QString::fromStdString(find_.selectedIndexText()));
}

void FindBar::markAllFound() {
  if (state_ == nullptr || find_.findArray().empty()) return;
  (void)find_.markAllFound(*state_);
  updateButtons();
  if (marksChanged) marksChanged();
}

void FindBar::unmarkAllFound() {
  if (state_ == nullptr || find_.findArray().empty()) return;
  (void)find_.unmarkAllFound(*state_);
  updateButtons();
  if (marksChanged) marksChanged();
}

}  // namespace nua::ui
