#include "page_kit.h"

#include <QApplication>

namespace nua::ui {

QVBoxLayout* makePage(QWidget* page, const QString& identifier, const QString& title) {
  page->setObjectName(identifier);
  auto* layout = new QVBoxLayout(page);
  layout->setContentsMargins(24, 18, 24, 14);
  auto* heading = new QLabel(title);
  heading->setObjectName("pageTitle");
  QFont font = heading->font();
  font.setPointSizeF(font.pointSizeF() * 1.35);
  font.setBold(true);
  heading->setFont(font);
  layout->addWidget(heading);
  return layout;
}

QIcon themeIcon(const QString& name, QStyle::StandardPixmap fallback) {
  if (!name.isEmpty() && QIcon::hasThemeIcon(name)) return QIcon::fromTheme(name);
  if (fallback == QStyle::SP_CustomBase) return {};
  return QApplication::style()->standardIcon(fallback);
}

QPushButton* makeButton(const QString& text, const QString& iconName, QStyle::StandardPixmap fallback) {
  auto* button = new QPushButton(themeIcon(iconName, fallback), text);
  button->setMinimumWidth(96);
  return button;
}

QHBoxLayout* navigationRow(QPushButton* back, QPushButton* home, std::initializer_list<QWidget*> right) {
  auto* row = new QHBoxLayout;
  if (back) row->addWidget(back);
  if (home) row->addWidget(home);
  row->addStretch();
  for (QWidget* widget : right) row->addWidget(widget);
  return row;
}

}  // namespace nua::ui
