#include "tree/tree_page.h"

#include <QDialog>
#include <QHBoxLayout>
#include <QHideEvent>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QMetaObject>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>

#include "tree/find_bar.h"
#include "tree/main_thread_ui_bridge.h"
#include "tree/preview_window.h"
#include "tree/record_tree_model.h"
#include "tree/saving_sheet.h"
#include "base/text.h"
#include "view/preview_data.h"

namespace nua::ui {

namespace {

// Column widths to start with. Sizing to contents would measure every row of a million-entry folder.
constexpr int kColumnWidths[RecordTreeModel::kColumnCount] = {48, 280, 80, 90, 80, 150, 150};  // fits the initial window

QDialog* makePreparingSheet(QWidget* parent) {
  auto* sheet = new QDialog(parent);
  sheet->setWindowModality(Qt::WindowModal);
  sheet->setWindowTitle("Preparing Tree");
  auto* layout = new QVBoxLayout(sheet);
  layout->addWidget(new QLabel("Preparing tree, please wait...", sheet));
  auto* progressIndicatorPreparingTree = new QProgressBar(sheet);
  progressIndicatorPreparingTree->setRange(0, 0);  // animates until the sheet ends
  layout->addWidget(progressIndicatorPreparingTree);
  sheet->setMinimumWidth(320);
  return sheet;
}

}  // namespace

TreePage::TreePage(nua::WizardController& controller, nua::UiBridge& ui, QWidget* parent)
    : QWidget(parent), controller_(controller), bridge_(std::make_unique<MainThreadUiBridge>(ui, this)) {
  model_ = new RecordTreeModel(*bridge_, this);
  model_->scanInfoOrSavingNotProcessing = [this] { return scanInfoOrSavingNotProcessing_; };

  outline_ = new QTreeView(this);
  outline_->setModel(model_);
  outline_->setUniformRowHeights(true);
  outline_->setTreePosition(RecordTreeModel::kFiles);
  outline_->setSelectionMode(QAbstractItemView::SingleSelection);
  outline_->setAlternatingRowColors(true);
  outline_->header()->setSectionResizeMode(QHeaderView::Interactive);
  outline_->header()->setStretchLastSection(true);
  for (int column = 0; column < RecordTreeModel::kColumnCount; ++column)
    outline_->header()->resizeSection(column, kColumnWidths[column]);
  connect(outline_, &QTreeView::expanded, model_, &RecordTreeModel::noteExpanded);
  connect(outline_, &QTreeView::collapsed, model_, &RecordTreeModel::noteCollapsed);
  connect(model_, &RecordTreeModel::marksChanged, this, [this] { countMarkedDataAndFiles(); });

  backButton_ = new QPushButton("Back", this);
  homeButton_ = new QPushButton("Home", this);
  fileTypesToggle_ = new QPushButton(nua::kFileTypesViewTitle, this);
  deletedToggle_ = new QPushButton(nua::kShowDeletedTitle, this);
  saveScanButton_ = new QPushButton("Save Recovery Session", this);
  saveButton_ = new QPushButton("Save", this);
  saveButton_->setEnabled(false);
  totalData_ = new QLabel(" ", this);
  markedData_ = new QLabel(" ", this);
  savedData_ = new QLabel(" ", this);
  previewButton_ = new QPushButton("View File", this);
  previewButton_->setEnabled(false);
  findBar_ = new FindBar(this);
  previewWindow_ = new PreviewWindow(this);

  auto* top = new QHBoxLayout;
  top->addWidget(backButton_);
  top->addWidget(homeButton_);
  top->addStretch();
  top->addWidget(new QLabel("Total:", this));
  top->addWidget(totalData_);
  auto* bottom = new QHBoxLayout;
  bottom->addWidget(fileTypesToggle_);
  bottom->addWidget(deletedToggle_);
  bottom->addWidget(previewButton_);
  bottom->addStretch();
  bottom->addWidget(new QLabel("Marked:", this));
  bottom->addWidget(markedData_);
  bottom->addWidget(savedData_);
  bottom->addStretch();
  bottom->addWidget(saveScanButton_);
  bottom->addWidget(saveButton_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top);
  layout->addWidget(findBar_);
  layout->addWidget(outline_, 1);
  layout->addLayout(bottom);

  connect(backButton_, &QPushButton::clicked, this, &TreePage::backClicked);
  connect(homeButton_, &QPushButton::clicked, this, &TreePage::homeClicked);
  connect(saveScanButton_, &QPushButton::clicked, this, &TreePage::saveSessionClicked);
  connect(fileTypesToggle_, &QPushButton::clicked, this, &TreePage::toggleTreeFileTypes);
  connect(deletedToggle_, &QPushButton::clicked, this, &TreePage::toggleTreeDeleted);
  connect(saveButton_, &QPushButton::clicked, this, &TreePage::saveData);
  connect(previewButton_, &QPushButton::clicked, this, &TreePage::preview);
  connect(outline_, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) {
    if (RecordTreeModel::recordOf(index) != nullptr && RecordTreeModel::recordOf(index)->fileType == 2) preview();
  });
  connect(outline_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
          [this] { outlineViewSelectionDidChange(); });
  findBar_->selectHit = [this](nua::Entry* hit) { showFindHit(hit); };
  model_->previewShowing = [this] { return previewWindow_->isVisible(); };
  model_->selectedRecord = [this]() -> const nua::Entry* {
    return RecordTreeModel::recordOf(outline_->selectionModel()->currentIndex());
  };
  findBar_->marksChanged = [this] {
    outline_->viewport()->update();
    countMarkedDataAndFiles();
  };

  preparingSheet_ = makePreparingSheet(this);
  savingSheet_ = new SavingSheet(this);
}

// The window's controller may be gone already (children go after the window's members): the page
// touches only what it owns here.
TreePage::~TreePage() {
  findBar_->stopAndClear();
  bridge_->shutDown();
  if (saveRun_) saveRun_->abortDataSaving();
  joinWorker();
  model_->setViewState(nullptr);
  saveRun_.reset();
  state_.reset();
}

void TreePage::joinWorker() {
  if (worker_.joinable()) worker_.join();
}

void TreePage::hideEvent(QHideEvent* event) {
  // Leaving the screen comes before the controller frees the tree on its own thread: from here on
  // the outline asks nothing of the records.
  if (!event->spontaneous() && !busy()) {
    findBar_->stopAndClear();  // the walk reads the records too
    model_->setViewState(nullptr);
  }
  QWidget::hideEvent(event);
}

void TreePage::dropStaleState() {
  const std::shared_ptr<nua::Volume> volume = controller_.selectedVolume;
  if (!state_ || (volume && volume->dirRoot == state_->dirRoot())) return;
  // The tree was freed or replaced. Its arena lives on with the state and freed records are
  // zeroed, so letting go is safe once the freeing thread is done.
  findBar_->stopAndClear();
  findBar_->setViewState(nullptr);
  model_->setViewState(nullptr);
  controller_.joinFreeTree();
  saveRun_.reset();
  state_.reset();
  volume_.reset();
}

void TreePage::showResult() {
  joinWorker();
  dropStaleState();
  const std::shared_ptr<nua::Volume> volume = controller_.selectedVolume;
  if (!volume || volume->dirRoot == nullptr || !volume->arena) {
    releaseResult();
    return;
  }
  if (state_) {
    state_->showView(false, false);
  } else {
    state_ = std::make_unique<nua::TreeViewState>(volume->arena, volume->dirRoot);
  }
  volume_ = volume;
  setScanInfoOrSavingNotProcessing(true);
  backButton_->setEnabled(true);
  saveScanButton_->setEnabled(true);
  treeSwitchDone();
}

void TreePage::releaseResult() {
  if (saveRun_) saveRun_->abortDataSaving();
  joinWorker();
  findBar_->stopAndClear();
  findBar_->setViewState(nullptr);
  if (previewWindow_->isVisible()) previewWindow_->previewClose();
  dropStaleState();
  model_->setViewState(nullptr);
  saveRun_.reset();
  state_.reset();
  volume_.reset();
  controller_.dirRootTemp = nullptr;
  totalData_->setText(" ");
  markedData_->setText(" ");
  savedData_->setText(" ");
  saveButton_->setEnabled(false);
}

void TreePage::setScanInfoOrSavingNotProcessing(bool value) { scanInfoOrSavingNotProcessing_ = value; }

void TreePage::toggleTreeFileTypes() { runSheetForPreparingTree(nua::TreeToggle::kFileTypes); }

void TreePage::toggleTreeDeleted() { runSheetForPreparingTree(nua::TreeToggle::kDeleted); }

void TreePage::runSheetForPreparingTree(nua::TreeToggle pressed) {
  if (!state_ || busy()) return;
  fileTypesToggle_->setEnabled(false);
  deletedToggle_->setEnabled(false);
  // Find walks the same records the switch changes: it is stopped and its hits dropped first.
  findBar_->stopAndClear();
  findBar_->setViewState(nullptr);
  controller_.dirRootTemp = nullptr;
  model_->beginSwitch();
  preparingSheet_->open();
  // The switch walks and changes every record; the outline only sees the empty row meanwhile.
  worker_ = std::thread([this, pressed] {
    state_->prepareTree(pressed);
    QMetaObject::invokeMethod(this, [this] { treeSwitchDone(); }, Qt::QueuedConnection);
  });
}

void TreePage::treeSwitchDone() {
  joinWorker();
  preparingSheet_->hide();
  fileTypesToggle_->setText(state_->buttonTreeFileTypesToggleTitle());
  deletedToggle_->setText(state_->buttonTreeShowDeletedTitle());
  controller_.fileTypesToggleTitle = state_->buttonTreeFileTypesToggleTitle();
  controller_.showDeletedToggleTitle = state_->buttonTreeShowDeletedTitle();
  controller_.dirRootTemp = state_->dirRootTemp();
  model_->setViewState(state_.get());
  findBar_->setViewState(state_.get());
  fileTypesToggle_->setEnabled(true);
  deletedToggle_->setEnabled(true);
  showTreeModified();
  emit treePrepared();
}

void TreePage::showTreeModified() {
  if (!state_ || state_->dirRoot() == nullptr) return;
  outline_->expand(model_->index(0, 0));
  totalData_->setText(QString::fromStdString(state_->textFieldTotalData()));
  countMarkedDataAndFiles();
  savedData_->setText(" ");
}

void TreePage::countMarkedDataAndFiles() {
  // The core keeps the marked totals as marks change; here they are only shown.
  if (!state_) return;
  markedData_->setText(QString::fromStdString(state_->textFieldMarkedData()));
  saveButton_->setEnabled(state_->saveButtonEnabled() && scanInfoOrSavingNotProcessing_);
}

void TreePage::outlineViewSelectionDidChange() {
  const QModelIndex current = outline_->selectionModel()->currentIndex();
  const nua::Entry* dir = RecordTreeModel::recordOf(current);
  previewButton_->setEnabled(dir != nullptr && dir->fileType == 2 && outline_->selectionModel()->hasSelection());
  if (previewWindow_->isVisible()) preview();
}

void TreePage::preview() {
  const QModelIndexList rows = outline_->selectionModel()->selectedRows(RecordTreeModel::kFiles);
  nua::Entry* dir = rows.isEmpty() ? nullptr : RecordTreeModel::recordOf(rows.first());
  const bool isFolder = dir != nullptr && dir->fileType != 2;
  const auto action = previewWindow_->gate().preview(dir != nullptr && state_ != nullptr, isFolder,
                                                     previewWindow_->isVisible(), volume_, controller_.scanInfoSaved(),
                                                     *bridge_);
  if (action != nua::PreviewRequestAction::kStart || dir == nullptr || !volume_) return;
  // The worker gets copies of what it reads, and holds the source open: it never touches the tree.
  nua::PreviewRequest request;
  request.isFolder = isFolder;
  request.fileName = nua::toUtf8(nua::shownNameOfDir(dir));
  request.entry = nua::previewEntryOf(*dir);
  request.source = nua::previewSourceOf(*volume_);
  request.keepAlive = volume_;
  previewWindow_->showRequest(std::move(request));
}

void TreePage::showFindHit(nua::Entry* hit) {
  // Ancestors from the top down, each expanded, then the row itself selected and scrolled to.
  std::vector<nua::Entry*> ancestors;
  for (nua::Entry* up = hit->parent; up != nullptr && ancestors.size() < 100000; up = up->parent) ancestors.push_back(up);
  for (auto it = ancestors.rbegin(); it != ancestors.rend(); ++it) outline_->expand(model_->indexOfRecord(*it));
  const QModelIndex row = model_->indexOfRecord(hit, RecordTreeModel::kFiles);
  if (!row.isValid()) return;
  outline_->selectionModel()->setCurrentIndex(row, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  outline_->scrollTo(row);
}

QString TreePage::textFieldTotalData() const { return totalData_->text(); }

QString TreePage::textFieldMarkedData() const { return markedData_->text(); }

QString TreePage::textFieldSavedData() const { return savedData_->text(); }

}  // namespace nua::ui
