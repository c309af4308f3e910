// Small building blocks shared by the screens: the page frame with its title, the row of navigation
// buttons, and icons from the desktop's theme with a fallback from the style.
#pragma once

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>
#include <QWidget>

namespace nua::ui {

// A screen named by its tab identifier, with a title line; returns the layout to fill.
QVBoxLayout* makePage(QWidget* page, const QString& identifier, const QString& title);

// A theme icon, or the style's icon when the theme has none (offscreen runs, bare desktops).
QIcon themeIcon(const QString& name, QStyle::StandardPixmap fallback);

QPushButton* makeButton(const QString& text, const QString& iconName = {},
                        QStyle::StandardPixmap fallback = QStyle::SP_CustomBase);

// The bottom row: back and home on the left, then the given buttons on the right.
QHBoxLayout* navigationRow(QPushButton* back, QPushButton* home, std::initializer_list<QWidget*> right);

}  // namespace nua::ui
