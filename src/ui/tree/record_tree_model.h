// The outline's model over the tree on screen. An index carries the record itself, so no object is
// made per row; helpers come from the view state only for rows that are drawn, and every count is
// the core's, read in constant time.
#pragma once

#include <QAbstractItemModel>
#include <QSet>
#include <functional>
#include <unordered_map>

#include "base/ui_bridge.h"
#include "records/entry.h"
#include "view/entry_view_helper.h"
#include "view/outline_columns.h"
#include "view/tree_view_state.h"

namespace nua::ui {

class RecordTreeModel : public QAbstractItemModel {
  Q_OBJECT

 public:
  enum Column { kMark, kFiles, kComplete, kSize, kFilesCount, kModificationDate, kCreateDate, kColumnCount };

  explicit RecordTreeModel(nua::UiBridge& ui, QObject* parent = nullptr);

  // Shows the tree of state (null: the empty row of a screen with nothing loaded).
  void setViewState(nua::TreeViewState* state);
  // While a switch runs on a worker the records change under us: the outline shows the empty row.
  void beginSwitch();
  void endSwitch();
  [[nodiscard]] bool switching() const { return switching_; }

  // Whether a check box click may change a mark now ("Process Running" otherwise).
  std::function<bool()> scanInfoOrSavingNotProcessing = [] { return true; };
  nua::TooltipContext tooltipContext;
  // For the tooltips of files: whether the preview window is open, and the record of the selected row.
  std::function<bool()> previewShowing;
  std::function<const nua::Entry*()> selectedRecord;

  [[nodiscard]] static nua::Entry* recordOf(const QModelIndex& index);
  // The index of a record shown in the tree; invalid when it is not in the view.
  [[nodiscard]] QModelIndex indexOfRecord(nua::Entry* dir, int column = 0) const;
  [[nodiscard]] static const char* columnIdentifier(int column);

  // The view tells which rows stand expanded, so a mark change refreshes what can be seen of the
  // subtree without walking all of it.
  void noteExpanded(const QModelIndex& index);
  void noteCollapsed(const QModelIndex& index);

  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  QModelIndex parent(const QModelIndex& child) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  bool hasChildren(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

 signals:
  // A click changed marks: totals and the save button follow.
  void marksChanged();

 private:
  [[nodiscard]] nua::Entry* topRecord() const;
  [[nodiscard]] int rowInParent(const nua::Entry* dir) const;
  // The mark went through: the clicked row, the rows drawn below it and each ancestor are refreshed.
  void refreshMarks(nua::Entry* dir);
  void emitChildrenMarksChanged(nua::Entry* folder);

  nua::UiBridge& ui_;
  nua::TreeViewState* state_ = nullptr;
  bool switching_ = false;
  nua::Entry emptyDir_;  // the row shown while nothing is loaded
  mutable std::unordered_map<const nua::Entry*, int> rowCache_;
  QSet<const nua::Entry*> expanded_;
};

}  // namespace nua::ui
