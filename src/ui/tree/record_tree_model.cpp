#include "tree/record_tree_model.h"

#include <QApplication>
#include <QBrush>
#include <QColor>
#include <QStyle>

namespace nua::ui {

namespace {

QString qText(const std::string& text) { return QString::fromStdString(text); }

}  // namespace

RecordTreeModel::RecordTreeModel(nua::UiBridge& ui, QObject* parent) : QAbstractItemModel(parent), ui_(ui) {}

const char* RecordTreeModel::columnIdentifier(int column) {
  switch (column) {
    case kMark: return "Mark";
    case kFiles: return "Files";
    case kComplete: return "Complete";
    case kSize: return "Size";
    case kFilesCount: return "Files Count";
    case kModificationDate: return "Modification Date";
    case kCreateDate: return "Create Date";
    default: return "";
  }
}

void RecordTreeModel::setViewState(nua::TreeViewState* state) {
  beginResetModel();
  state_ = state;
  switching_ = false;
  rowCache_.clear();
  expanded_.clear();
  endResetModel();
}

void RecordTreeModel::beginSwitch() {
  beginResetModel();
  switching_ = true;
  rowCache_.clear();
  expanded_.clear();
  endResetModel();
}

void RecordTreeModel::endSwitch() {
  beginResetModel();
  switching_ = false;
  endResetModel();
}

nua::Entry* RecordTreeModel::topRecord() const {
  if (switching_ || state_ == nullptr || state_->dirRootTemp() == nullptr) return const_cast<nua::Entry*>(&emptyDir_);
  return state_->dirRootTemp();
}

nua::Entry* RecordTreeModel::recordOf(const QModelIndex& index) {
  return index.isValid() ? static_cast<nua::Entry*>(index.internalPointer()) : nullptr;
}

int RecordTreeModel::rowInParent(const nua::Entry* dir) const {
  const nua::Entry* up = dir->parent;
  if (up == nullptr) return -1;
  // Each folder is looked for once in its parent's list; a wide folder would otherwise cost a scan of
  // its parent for every row drawn under it.
  if (auto found = rowCache_.find(dir); found != rowCache_.end()) {
    const int row = found->second;
    if (row >= 0 && static_cast<std::size_t>(row) < up->childList.size() && up->childList[row] == dir) return row;
  }
  for (std::size_t i = 0; i < up->childList.size(); ++i) {
    if (up->childList[i] == dir) {
      rowCache_[dir] = static_cast<int>(i);
      return static_cast<int>(i);
    }
  }
  return -1;
}

QModelIndex RecordTreeModel::index(int row, int column, const QModelIndex& parent) const {
  if (row < 0 || column < 0 || column >= kColumnCount) return {};
  if (!parent.isValid()) return row == 0 ? createIndex(0, column, topRecord()) : QModelIndex();
  if (parent.column() != 0) return {};
  const nua::Entry* folder = recordOf(parent);
  if (static_cast<std::size_t>(row) >= folder->childList.size()) return {};
  return createIndex(row, column, folder->childList[static_cast<std::size_t>(row)]);
}

QModelIndex RecordTreeModel::parent(const QModelIndex& child) const {
  const nua::Entry* dir = recordOf(child);
  if (dir == nullptr) return {};
  const nua::Entry* top = topRecord();
  if (dir == top || dir->parent == nullptr) return {};
  nua::Entry* up = dir->parent;
  if (up == top) return createIndex(0, 0, up);
  const int row = rowInParent(up);
  return row < 0 ? QModelIndex() : createIndex(row, 0, up);
}

int RecordTreeModel::rowCount(const QModelIndex& parent) const {
  if (!parent.isValid()) return 1;
  if (parent.column() != 0) return 0;
  return static_cast<int>(recordOf(parent)->childListCount());
}

int RecordTreeModel::columnCount(const QModelIndex&) const { return kColumnCount; }

bool RecordTreeModel::hasChildren(const QModelIndex& parent) const {
  if (!parent.isValid()) return true;
  return parent.column() == 0 && recordOf(parent)->childListCount() != 0;
}

QModelIndex RecordTreeModel::indexOfRecord(nua::Entry* dir, int column) const {
  if (dir == nullptr) return {};
  if (dir == topRecord()) return createIndex(0, column, dir);
  const int row = rowInParent(dir);
  return row < 0 ? QModelIndex() : createIndex(row, column, dir);
}

QVariant RecordTreeModel::data(const QModelIndex& index, int role) const {
  nua::Entry* dir = recordOf(index);
  if (dir == nullptr || dir == &emptyDir_ || state_ == nullptr) return {};
  const nua::EntryViewHelper* helper = state_->helperFor(dir);
  const int column = index.column();
  switch (role) {
    case Qt::DisplayRole:
      if (column == kMark) return {};
      if (column == kFiles) return qText(nua::filesCellText(*helper));
      return qText(nua::columnText(*helper, columnIdentifier(column)));
    case Qt::CheckStateRole:
      if (column != kMark) return {};
      switch (state_->markState(*helper)) {
        case 1: return Qt::Checked;
        case 0: return Qt::Unchecked;
        default: return Qt::PartiallyChecked;
      }
    case Qt::ToolTipRole: {
      nua::TooltipContext context = tooltipContext;
      if (previewShowing) context.previewVisible = previewShowing();
      if (selectedRecord) context.itemIsSelectedRow = selectedRecord() == helper->newDir();
      const std::string tip = nua::columnToolTip(*helper, columnIdentifier(column), context);
      return tip.empty() ? QVariant() : QVariant(qText(tip));
    }
    case Qt::DecorationRole:
      if (column != kFiles) return {};
      return QApplication::style()->standardIcon(helper->fileType() == 1 ? QStyle::SP_DirIcon : QStyle::SP_FileIcon);
    case Qt::ForegroundRole:
      // Deleted entries, and folders on the way to them, stand out from the live ones.
      if (column == kFiles && helper->deleted() == 1) return QBrush(QColor(170, 30, 30));
      return {};
    case Qt::TextAlignmentRole:
      if (column == kSize || column == kFilesCount) return QVariant(Qt::AlignRight | Qt::AlignVCenter);
      return {};
    default:
      return {};
  }
}

bool RecordTreeModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  nua::Entry* dir = recordOf(index);
  if (role != Qt::CheckStateRole || index.column() != kMark || dir == nullptr || dir == &emptyDir_ ||
      state_ == nullptr || switching_) {
    return false;
  }
  const bool mark = value.toInt() != Qt::Unchecked;
  if (!state_->setMark(state_->helperFor(dir), mark, scanInfoOrSavingNotProcessing(), ui_)) return false;
  refreshMarks(dir);
  emit marksChanged();
  return true;
}

void RecordTreeModel::refreshMarks(nua::Entry* dir) {
  const QModelIndex item = indexOfRecord(dir, kMark);
  if (item.isValid()) emit dataChanged(item, item, {Qt::CheckStateRole});
  // Below the row: one signal per expanded folder inside its subtree, never one per record.
  for (const nua::Entry* open : std::as_const(expanded_)) {
    for (const nua::Entry* up = open; up != nullptr; up = up->parent) {
      if (up == dir) {
        emitChildrenMarksChanged(const_cast<nua::Entry*>(open));
        break;
      }
    }
  }
  for (nua::Entry* up = dir->parent; up != nullptr; up = up->parent) {
    const QModelIndex above = indexOfRecord(up, kMark);
    if (above.isValid()) emit dataChanged(above, above, {Qt::CheckStateRole});
  }
}

void RecordTreeModel::emitChildrenMarksChanged(nua::Entry* folder) {
  if (folder->childList.empty()) return;
  const int last = static_cast<int>(folder->childList.size()) - 1;
  emit dataChanged(createIndex(0, kMark, folder->childList.front()),
                   createIndex(last, kMark, folder->childList.back()), {Qt::CheckStateRole});
}

void RecordTreeModel::noteExpanded(const QModelIndex& index) {
  if (const nua::Entry* dir = recordOf(index)) expanded_.insert(dir);
}

void RecordTreeModel::noteCollapsed(const QModelIndex& index) {
  if (const nua::Entry* dir = recordOf(index)) expanded_.remove(dir);
}

Qt::ItemFlags RecordTreeModel::flags(const QModelIndex& index) const {
  const nua::Entry* dir = recordOf(index);
  if (dir == nullptr) return Qt::NoItemFlags;
  Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
  if (index.column() == kMark && dir != &emptyDir_) flags |= Qt::ItemIsUserCheckable;
  return flags;
}

QVariant RecordTreeModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= kColumnCount) return {};
  return QString::fromLatin1(columnIdentifier(section));
}

}  // namespace nua::ui
