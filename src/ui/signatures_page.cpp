#include "signatures_page.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QSet>
#include <QTreeWidget>

#include "page_kit.h"

namespace nua::ui {

namespace {
constexpr int kNodeRole = Qt::UserRole + 1;

SigNode* nodeOf(const QTreeWidgetItem* item) {
  return static_cast<SigNode*>(item->data(0, kNodeRole).value<void*>());
}

Qt::CheckState stateOf(const SigNode& node) {
  if (!node.children) return node.selected ? Qt::Checked : Qt::Unchecked;
  const std::size_t marked = node.childrenSelected();
  if (marked == 0) return Qt::Unchecked;
  return marked == node.children->size() ? Qt::Checked : Qt::PartiallyChecked;
}
}  // namespace

SignaturesPage::SignaturesPage(WizardController& controller, WizardWidgets& widgets)
    : controller_(controller) {
  QVBoxLayout* layout = makePage(this, "Signatures", tr("Mark the file types to search for"));
  outline_ = new QTreeWidget;
  outline_->setObjectName("signatureOutline");
  outline_->setColumnCount(3);
  outline_->setHeaderLabels({tr("File Type"), tr("Extension"), tr("Largest File")});
  outline_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
  outline_->setAlternatingRowColors(true);
  layout->addWidget(outline_, 1);
  connect(outline_, &QTreeWidget::itemChanged, this, &SignaturesPage::itemChanged);
  widgets.reload.insert(WizardTable::kSignatures, [this] { reload(); });
  widgets.deselect.insert(WizardTable::kSignatures, [this] { outline_->clearSelection(); });

  auto* tools = new QHBoxLayout;
  QPushButton* markAll = makeButton(tr("Mark All"));
  QPushButton* unmarkAll = makeButton(tr("Unmark All"));
  QPushButton* addType = makeButton(tr("Add File Type…"), "list-add");
  QPushButton* removeType = makeButton(tr("Remove File Type"), "list-remove");
  count_ = new QLabel;
  count_->setObjectName("signatureCount");
  connect(markAll, &QPushButton::clicked, this, [this] { controller_.selectAllSig(); });
  connect(unmarkAll, &QPushButton::clicked, this, [this] { controller_.deselectAllSig(); });
  widgets.controls.insert(WizardControl::kAddFileType, addType);
  widgets.controls.insert(WizardControl::kRemoveFileType, removeType);
  tools->addWidget(markAll);
  tools->addWidget(unmarkAll);
  tools->addWidget(addType);
  tools->addWidget(removeType);
  tools->addStretch();
  tools->addWidget(count_);
  layout->addLayout(tools);

  auto* rawBox = new QCheckBox(tr("Search only a part of the drive (set the range on the next screen)"));
  widgets.controls.insert(WizardControl::kRawSearchBox, rawBox);
  connect(rawBox, &QCheckBox::toggled, this, [this](bool on) { controller_.setRawSearchBox(on); });
  layout->addWidget(rawBox);

  QPushButton* back = makeButton(tr("Back"), "go-previous", QStyle::SP_ArrowBack);
  QPushButton* home = makeButton(tr("Home"), "go-home", QStyle::SP_DirHomeIcon);
  QPushButton* skip = makeButton(tr("Skip"), "media-skip-forward", QStyle::SP_MediaSkipForward);
  QPushButton* next = makeButton(tr("Next"), "go-next", QStyle::SP_ArrowForward);
  skip->setToolTip(tr("Scan without searching for file types"));
  widgets.controls.insert(WizardControl::kSignaturesSkip, skip);
  widgets.controls.insert(WizardControl::kSignaturesNext, next);
  connect(back, &QPushButton::clicked, this, [this] { controller_.sigSelBackToVolumesClicked(); });
  connect(home, &QPushButton::clicked, this, [this] { controller_.gotoHome(); });
  connect(skip, &QPushButton::clicked, this, [this] { controller_.skipButtonSigTabClicked(); });
  connect(next, &QPushButton::clicked, this, [this] { controller_.sigSelNextClicked(); });
  layout->addLayout(navigationRow(back, home, {skip, next}));
}

void SignaturesPage::reload() {
  if (rowsMatchCatalog()) {
    refreshRows();
    return;
  }
  // A changed catalog while a mark is being handled: the row Qt is still working on must outlive the
  // handler, so the outline is built again once control is back in the event loop.
  if (handlingMark_) {
    if (!rebuildQueued_) {
      rebuildQueued_ = true;
      QMetaObject::invokeMethod(this, [this] {
        rebuildQueued_ = false;
        reload();
      }, Qt::QueuedConnection);
    }
    showCount();
    return;
  }
  rebuildRows();
}

bool SignaturesPage::rowsMatchCatalog() const {
  const auto& roots = controller_.sigRootArray;
  if (outline_->topLevelItemCount() != static_cast<int>(roots.size())) return false;
  for (int i = 0; i < outline_->topLevelItemCount(); ++i) {
    const QTreeWidgetItem* category = outline_->topLevelItem(i);
    const SigNode& root = *roots[static_cast<std::size_t>(i)];
    if (nodeOf(category) != &root) return false;
    const std::size_t children = root.children ? root.children->size() : 0;
    if (category->childCount() != static_cast<int>(children)) return false;
    for (std::size_t c = 0; c < children; ++c)
      if (nodeOf(category->child(static_cast<int>(c))) != (*root.children)[c].get()) return false;
  }
  return true;
}

void SignaturesPage::refreshRows() {
  const QSignalBlocker quiet(outline_);
  for (int i = 0; i < outline_->topLevelItemCount(); ++i) {
    QTreeWidgetItem* category = outline_->topLevelItem(i);
    category->setCheckState(0, stateOf(*nodeOf(category)));
    for (int c = 0; c < category->childCount(); ++c) {
      QTreeWidgetItem* item = category->child(c);
      const Sig* sig = nodeOf(item)->sig.get();
      const std::uint64_t limit = sig ? (sig->userSize != 0 ? sig->userSize : sig->defaultSize) : 0;
      item->setText(2, limit ? tr("%1 MB").arg(limit) : QString());
      item->setCheckState(0, stateOf(*nodeOf(item)));
    }
  }
  showCount();
}

void SignaturesPage::rebuildRows() {
  // Keep the open categories open across a rebuild.
  QSet<QString> expanded;
  for (int i = 0; i < outline_->topLevelItemCount(); ++i)
    if (outline_->topLevelItem(i)->isExpanded()) expanded.insert(outline_->topLevelItem(i)->text(0));
  const QSignalBlocker quiet(outline_);
  outline_->clear();
  for (const auto& root : controller_.sigRootArray) {
    auto* category = new QTreeWidgetItem(outline_, {QString::fromStdString(root->category)});
    category->setData(0, kNodeRole, QVariant::fromValue<void*>(root.get()));
    category->setFlags(category->flags() | Qt::ItemIsUserCheckable);
    category->setCheckState(0, stateOf(*root));
    if (!root->children) continue;
    for (const auto& child : *root->children) {
      const Sig* sig = child->sig.get();
      const std::uint64_t limit = sig ? (sig->userSize != 0 ? sig->userSize : sig->defaultSize) : 0;
      auto* item = new QTreeWidgetItem(category, {sig ? QString::fromStdString(sig->software) : QString(),
                                                  sig ? QString::fromStdString(sig->extension) : QString(),
                                                  limit ? tr("%1 MB").arg(limit) : QString()});
      item->setData(0, kNodeRole, QVariant::fromValue<void*>(child.get()));
      item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
      item->setCheckState(0, stateOf(*child));
    }
    category->setExpanded(expanded.contains(category->text(0)));
  }
  showCount();
}

void SignaturesPage::showCount() {
  std::size_t types = 0;
  for (const auto& root : controller_.sigRootArray)
    if (root->children) types += root->children->size();
  count_->setText(tr("%1 of %2 file types marked").arg(controller_.sigSelArray.size()).arg(types));
}

void SignaturesPage::itemChanged(QTreeWidgetItem* item, int column) {
  if (column != 0) return;
  SigNode* node = nodeOf(item);
  if (node == nullptr) return;
  handlingMark_ = true;
  // A partly marked category that is clicked becomes fully marked.
  controller_.setSigMark(*node, item->checkState(0) != Qt::Unchecked);
  handlingMark_ = false;
}

}  // namespace nua::ui
