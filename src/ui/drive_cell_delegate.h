// Draws a row of the drive, volume and partition lists: the icon, then the row's lines, the first
// one bold. The lines come from the core (drive_cell_text.h) in Qt::UserRole as a QStringList.
#pragma once

#include <QStyledItemDelegate>

namespace nua::ui {

class DriveCellDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

}  // namespace nua::ui
