// Drives the window as a person does: mouse clicks on the real buttons, rows and check boxes of the
// screen shown, and key presses to the widget that has the focus.
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QStyleOptionButton>
#include <QListWidget>
#include <QPushButton>
#include <QStyle>
#include <QStyleOptionViewItem>
#include <QStyledItemDelegate>
#include <QTest>
#include <QTreeWidget>
#include <functional>
#include <type_traits>
#include <vector>

#include "base/dict.h"
#include "main_window.h"

namespace nua::ui::testing {

// The visible button of the screen shown whose caption begins with `caption`, or null.
inline QPushButton* buttonOnScreen(MainWindow& window, const QString& caption) {
  QWidget* page = window.page(window.currentTab());
  if (page == nullptr) return nullptr;
  for (QPushButton* button : page->findChildren<QPushButton*>())
    if (button->text().startsWith(caption) && button->isVisible()) return button;
  return nullptr;
}

// Clicks that button with the mouse; false when there is none or it is disabled (the click would
// do nothing).
inline bool clickButton(MainWindow& window, const QString& caption) {
  QPushButton* button = buttonOnScreen(window, caption);
  if (button == nullptr || !button->isEnabled()) return false;
  QTest::mouseClick(button, Qt::LeftButton);
  return true;
}

// Clicks a check box on its box, where a person clicks (a wide check box's middle may be empty).
inline void clickCheckBox(QCheckBox* box) {
  QStyleOptionButton option;
  option.initFrom(box);
  option.text = box->text();
  const QRect indicator = box->style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, box);
  QTest::mouseClick(box, Qt::LeftButton, {}, indicator.center());
}

// Clicks row `row` of a list with the mouse, in the middle of the row.
inline bool clickListRow(QListWidget* list, int row) {
  if (list == nullptr || row < 0 || row >= list->count()) return false;
  list->scrollToItem(list->item(row));
  const QRect rect = list->visualItemRect(list->item(row));
  QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, rect.center());
  return true;
}

// The first row of `rows` (the rows the list shows, in order) that `matches`, or -1.
template <class Row>
int rowWhere(const std::vector<Row>& rows, const std::type_identity_t<std::function<bool(const Row&)>>& matches) {
  for (std::size_t i = 0; i < rows.size(); ++i)
    if (matches(rows[i])) return static_cast<int>(i);
  return -1;
}

// Where the check box of an outline row is drawn, in the viewport's coordinates: the style's own
// layout of the row, as the delegate uses it to hit-test a click.
inline QRect checkBoxRect(QTreeWidget* outline, QTreeWidgetItem* item, int column = 0) {
  struct OptionOf : QStyledItemDelegate {
    using QStyledItemDelegate::initStyleOption;
  } delegate;
  const QModelIndex index = outline->indexFromItem(item, column);
  QStyleOptionViewItem option;
  option.initFrom(outline);
  option.rect = outline->visualRect(index);
  delegate.initStyleOption(&option, index);
  const QStyle* style = outline->style();
  return style->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, outline);
}

inline bool clickCheckBox(QTreeWidget* outline, QTreeWidgetItem* item, int column = 0) {
  if (outline == nullptr || item == nullptr) return false;
  outline->scrollToItem(item);
  const QRect box = checkBoxRect(outline, item, column);
  if (!box.isValid()) return false;
  QTest::mouseClick(outline->viewport(), Qt::LeftButton, {}, box.center());
  return true;
}

// With NUA_UI_SCREENSHOTS naming a folder, writes the window as it is now to `name`.png there, so
// the screens these suites reach can be looked at.
inline void screenshot(QWidget& window, const QString& name) {
  const QString folder = qEnvironmentVariable("NUA_UI_SCREENSHOTS");
  if (folder.isEmpty()) return;
  window.grab().save(folder + "/" + name + ".png");
}

}  // namespace nua::ui::testing
