#include "signatures_page.h"

#include <QApplication>
#include <QCheckBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QSet>
#include <QSpinBox>
#include <QTreeWidget>

#include "add_file_type_sheet.h"
#include "page_kit.h"
#include "speed_bar.h"

namespace nua::ui {

namespace {
constexpr int kNodeRole = Qt::UserRole + 1;

SigNode* nodeOf(const QTreeWidgetItem* item) {
  return static_cast<SigNode*>(item->data(0, kNodeRole).value<void*>());
}

Qt::CheckState stateOf(const SigNode& node) {
  switch (SignatureCatalog::markColumnValue(node)) {
    case 1: return Qt::Checked;
    case -1: return Qt::PartiallyChecked;
    default: return Qt::Unchecked;
  }
}

QString fileTypesText(const SigNode& node) {
  if (node.children || !node.sig) return QString::fromStdString(node.category);
  return QString("%1 (%2)").arg(QString::fromStdString(node.sig->software), QString::fromStdString(node.sig->extension));
}

// The size column: a file type's maximum in MB; a category shows none.
QString sizeText(const SigNode& node) {
  if (node.children || !node.sig) return {};
  return QString::number(SignatureCatalog::sizeColumnValue(node));
}
}  // namespace

SignaturesPage::SignaturesPage(WizardController& controller, WizardWidgets& widgets)
    : controller_(controller), screen_(controller.signatureScreen()) {
  QVBoxLayout* layout = makePage(this, "Signatures", tr("Mark the file types to search for"));
  layout->addLayout(makeFindRow());
  widgets.fields.insert(WizardField::kFindFileTypesPlaceholder,
                        [this](const QString& text) { findField_->setPlaceholderText(text); });
  outline_ = new QTreeWidget;
  outline_->setObjectName("signatureOutline");
  outline_->setColumnCount(3);
  outline_->setHeaderLabels({tr("File Types"), tr("Maximum File Size to recover"), tr("Mark")});
  outline_->header()->setSectionResizeMode(kFileTypesColumn, QHeaderView::Stretch);
  outline_->header()->setStretchLastSection(false);
  outline_->header()->setSectionResizeMode(kSizeColumn, QHeaderView::ResizeToContents);
  outline_->header()->setSectionResizeMode(kMarkColumn, QHeaderView::ResizeToContents);
  outline_->headerItem()->setToolTip(kSizeColumn, tr("In MB; double-click a file type's size to change it"));
  outline_->setAlternatingRowColors(true);
  // Only the size column is edited, by a double click on it.
  outline_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  layout->addWidget(outline_, 1);
  connect(outline_, &QTreeWidget::itemChanged, this, &SignaturesPage::itemChanged);
  connect(outline_, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item, int column) {
    const SigNode* node = nodeOf(item);
    if (column == kSizeColumn && node != nullptr && node->sig && !node->children) outline_->editItem(item, kSizeColumn);
  });
  connect(outline_, &QTreeWidget::itemSelectionChanged, this, &SignaturesPage::showCountsAndButtons);
  widgets.reload.insert(WizardTable::kSignatures, [this] { reload(); });
  widgets.deselect.insert(WizardTable::kSignatures, [this] { outline_->clearSelection(); });

  layout->addLayout(makeToolsRow(widgets));
  auto* counts = new QHBoxLayout;
  markedCount_ = new QLabel;
  totalCount_ = new QLabel;
  categoriesCount_ = new QLabel;
  markedCount_->setObjectName("sigMarkedCount");
  totalCount_->setObjectName("sigTotalCount");
  categoriesCount_->setObjectName("sigCategoriesCount");
  speedBar_ = new SpeedBar([this](float width) { return screen_.speedBarMarkedWidth(width); });
  speedBar_->setObjectName("speedBar");
  for (QLabel* label : {markedCount_, totalCount_, categoriesCount_}) counts->addWidget(label);
  counts->addStretch();
  counts->addWidget(new QLabel(tr("Estimated Recovery Speed")));
  counts->addWidget(speedBar_);
  layout->addLayout(counts);

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

  addSheet_ = new AddFileTypeSheet(screen_, this);
  addSheet_->added = [this] { showCountsAndButtons(); };
}

QLayout* SignaturesPage::makeFindRow() {
  auto* row = new QHBoxLayout;
  findField_ = new QLineEdit;
  findField_->setObjectName("findFileTypes");
  findField_->setClearButtonEnabled(true);
  stepper_ = new QSpinBox;
  stepper_->setObjectName("stepperFT");
  stepper_->setEnabled(false);
  stepper_->setToolTip(tr("Step through the file types found"));
  findStatus_ = new QLabel;
  findStatus_->setObjectName("findFTStatus");
  connect(findField_, &QLineEdit::returnPressed, this, &SignaturesPage::findClicked);
  connect(stepper_, &QSpinBox::valueChanged, this, [this](int value) { selectRowOf(screen_.stepperFTClicked(value)); });
  row->addWidget(findField_, 1);
  row->addWidget(stepper_);
  row->addWidget(findStatus_, 1);
  return row;
}

QLayout* SignaturesPage::makeToolsRow(WizardWidgets& widgets) {
  auto* tools = new QHBoxLayout;
  markAll_ = makeButton(tr("Mark All"));
  unmarkAll_ = makeButton(tr("Unmark All"));
  loadFileTypes_ = makeButton(tr("Load File Types"), "view-refresh");
  addType_ = makeButton(tr("Add File Type…"), "list-add");
  removeType_ = makeButton(tr("Remove File Type"), "list-remove");
  connect(markAll_, &QPushButton::clicked, this, [this] {
    screen_.selectAllSig();
    showCountsAndButtons();
  });
  connect(unmarkAll_, &QPushButton::clicked, this, [this] {
    screen_.deselectAllSig();
    showCountsAndButtons();
  });
  connect(loadFileTypes_, &QPushButton::clicked, this, [this] {
    screen_.reloadSigData();
    rebuildRows();
  });
  connect(addType_, &QPushButton::clicked, this, [this] { addSheet_->begin(); });
  connect(removeType_, &QPushButton::clicked, this, &SignaturesPage::removeClicked);
  widgets.controls.insert(WizardControl::kAddFileType, addType_);
  widgets.controls.insert(WizardControl::kRemoveFileType, removeType_);
  for (QPushButton* button : {markAll_, unmarkAll_, loadFileTypes_, addType_, removeType_}) tools->addWidget(button);
  tools->addStretch();
  return tools;
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
    showCountsAndButtons();
    return;
  }
  rebuildRows();
}

bool SignaturesPage::rowsMatchCatalog() const {
  const auto& roots = controller_.sigRootArray;
  // The empty catalog's single row is rebuilt each time, as its text changes with each retry.
  if (roots.empty()) return false;
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
  {
    const QSignalBlocker quiet(outline_);
    for (int i = 0; i < outline_->topLevelItemCount(); ++i) {
      QTreeWidgetItem* category = outline_->topLevelItem(i);
      category->setCheckState(kMarkColumn, stateOf(*nodeOf(category)));
      for (int c = 0; c < category->childCount(); ++c) {
        QTreeWidgetItem* item = category->child(c);
        item->setText(kSizeColumn, sizeText(*nodeOf(item)));
        item->setCheckState(kMarkColumn, stateOf(*nodeOf(item)));
      }
    }
  }
  showCountsAndButtons();
}

void SignaturesPage::rebuildRows() {
  // Keep the open categories open across a rebuild.
  QSet<QString> expanded;
  for (int i = 0; i < outline_->topLevelItemCount(); ++i)
    if (outline_->topLevelItem(i)->isExpanded()) expanded.insert(outline_->topLevelItem(i)->text(0));
  {
    const QSignalBlocker quiet(outline_);
    outline_->clear();
    // A find's rows may be gone with the old outline; a new find enables the stepper again.
    stepper_->setEnabled(false);
    if (controller_.sigRootArray.empty())
      new QTreeWidgetItem(outline_, {QString::fromStdString(screen_.emptyRowText())});
    for (const auto& root : controller_.sigRootArray) {
      auto* category = new QTreeWidgetItem(outline_, {fileTypesText(*root)});
      category->setData(0, kNodeRole, QVariant::fromValue<void*>(root.get()));
      category->setFlags(category->flags() | Qt::ItemIsUserCheckable);
      category->setCheckState(kMarkColumn, stateOf(*root));
      if (!root->children) continue;
      for (const auto& child : *root->children) {
        auto* item = new QTreeWidgetItem(category, {fileTypesText(*child), sizeText(*child)});
        item->setData(0, kNodeRole, QVariant::fromValue<void*>(child.get()));
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable | Qt::ItemIsEditable);
        item->setTextAlignment(kSizeColumn, Qt::AlignRight | Qt::AlignVCenter);
        item->setCheckState(kMarkColumn, stateOf(*child));
      }
      category->setExpanded(expanded.contains(category->text(0)));
    }
  }
  showCountsAndButtons();
}

void SignaturesPage::showCountsAndButtons() {
  const SigCounts& counts = screen_.counts();
  markedCount_->setText(QString::fromStdString(counts.markedText));
  totalCount_->setText(QString::fromStdString(counts.totalText));
  categoriesCount_->setText(QString::fromStdString(counts.categoriesText));
  findStatus_->setText(QString::fromStdString(screen_.findStatusText()));
  speedBar_->update();
  const SigButtons& buttons = screen_.buttons();
  markAll_->setEnabled(buttons.selectAll);
  unmarkAll_->setEnabled(buttons.deselectAll);
  loadFileTypes_->setEnabled(buttons.loadFileTypes);
  addType_->setEnabled(buttons.addFileType);
  removeType_->setEnabled(buttons.removeFileType && screen_.canRemove(selectedNode()));
}

SigNode* SignaturesPage::selectedNode() const {
  const QList<QTreeWidgetItem*> rows = outline_->selectedItems();
  return rows.size() == 1 ? nodeOf(rows.front()) : nullptr;
}

void SignaturesPage::itemChanged(QTreeWidgetItem* item, int column) {
  SigNode* node = nodeOf(item);
  if (node == nullptr) return;
  if (column == kSizeColumn) {
    if (!screen_.setUserSize(*node, item->text(kSizeColumn).trimmed().toStdString()) && screen_.lastSaveFailed())
      QApplication::beep();
    const QSignalBlocker quiet(outline_);
    item->setText(kSizeColumn, sizeText(*node));  // what is stored, also after a refused text
    return;
  }
  if (column != kMarkColumn) return;
  handlingMark_ = true;
  // A partly marked category that is clicked becomes fully marked.
  screen_.markClicked(*node, item->checkState(kMarkColumn) != Qt::Unchecked);
  handlingMark_ = false;
}

void SignaturesPage::findClicked() {
  SigNode* first = screen_.findFileTypes(findField_->text().toStdString());
  {
    const QSignalBlocker quiet(stepper_);
    stepper_->setRange(0, static_cast<int>(std::max<std::int64_t>(0, screen_.stepperMaximum())));
    stepper_->setValue(0);
    stepper_->setEnabled(screen_.stepperEnabled());
  }
  showCountsAndButtons();
  selectRowOf(first);
}

void SignaturesPage::selectRowOf(const SigNode* node) {
  if (node == nullptr) return;
  for (int i = 0; i < outline_->topLevelItemCount(); ++i) {
    QTreeWidgetItem* category = outline_->topLevelItem(i);
    for (int c = 0; c < category->childCount(); ++c) {
      QTreeWidgetItem* item = category->child(c);
      if (nodeOf(item) != node) continue;
      category->setExpanded(true);
      outline_->clearSelection();
      item->setSelected(true);
      outline_->setCurrentItem(item, kFileTypesColumn, QItemSelectionModel::NoUpdate);
      outline_->scrollToItem(item);
      return;
    }
  }
}

void SignaturesPage::removeClicked() {
  SigNode* node = selectedNode();
  if (node == nullptr) return;
  screen_.removeFileType(node);
  if (screen_.lastSaveFailed()) QApplication::beep();
  showCountsAndButtons();
}

}  // namespace nua::ui
