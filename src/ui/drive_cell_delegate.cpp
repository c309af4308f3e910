#include "drive_cell_delegate.h"

#include <QApplication>
#include <QPainter>

namespace nua::ui {

namespace {
constexpr int kIconSize = 48;
constexpr int kPadding = 6;
}  // namespace

void DriveCellDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
  QStyleOptionViewItem background = option;
  initStyleOption(&background, index);
  background.text.clear();
  background.icon = QIcon();
  QApplication::style()->drawControl(QStyle::CE_ItemViewItem, &background, painter, background.widget);

  const QRect area = option.rect.adjusted(kPadding, kPadding, -kPadding, -kPadding);
  const QIcon icon = index.data(Qt::DecorationRole).value<QIcon>();
  const QIcon::Mode mode = (option.state & QStyle::State_Enabled) ? QIcon::Normal : QIcon::Disabled;
  // Style icons come in small sizes only; scale them so every row shows the same size.
  const QPixmap pixmap = icon.pixmap(QSize(kIconSize, kIconSize), mode)
                             .scaled(kIconSize, kIconSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
  painter->drawPixmap(area.left() + (kIconSize - pixmap.width()) / 2,
                      area.top() + (area.height() - pixmap.height()) / 2, pixmap);

  const QStringList lines = index.data(Qt::UserRole).toStringList();
  const bool selected = (option.state & QStyle::State_Selected) != 0;
  painter->save();
  painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
  int y = area.top();
  const int x = area.left() + kIconSize + 12;
  for (int i = 0; i < lines.size(); ++i) {
    QFont font = option.font;
    font.setBold(i == 0);
    painter->setFont(font);
    const QFontMetrics metrics(font);
    painter->drawText(QRect(x, y, area.right() - x, metrics.height()), Qt::AlignLeft | Qt::AlignVCenter,
                      metrics.elidedText(lines[i], Qt::ElideMiddle, area.right() - x));
    y += metrics.height();
  }
  painter->restore();
}

QSize DriveCellDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
  const int lines = static_cast<int>(index.data(Qt::UserRole).toStringList().size());
  const int height = std::max(kIconSize, QFontMetrics(option.font).height() * std::max(lines, 1)) + 2 * kPadding;
  return {300, height};
}

}  // namespace nua::ui
