// "Signatures": the outline of file types of the goal's catalog with a mark box on each row, the
// raw-search box, and Next, skip, back and home. Marks go to the controller, which gates Next.
// A mark changes the rows in place: the outline is never rebuilt while Qt is still handling a click.
#pragma once

#include <QWidget>

#include "app/wizard_controller.h"
#include "wizard_widgets.h"

class QTreeWidget;
class QTreeWidgetItem;
class QLabel;

namespace nua::ui {

class SignaturesPage : public QWidget {
 public:
  SignaturesPage(WizardController& controller, WizardWidgets& widgets);

 private:
  void reload();
  // True when the rows stand for the catalog's nodes, in its order: a reload then only refreshes them.
  [[nodiscard]] bool rowsMatchCatalog() const;
  void refreshRows();
  void rebuildRows();
  void showCount();
  void itemChanged(QTreeWidgetItem* item, int column);

  WizardController& controller_;
  QTreeWidget* outline_ = nullptr;
  QLabel* count_ = nullptr;
  bool handlingMark_ = false;
  bool rebuildQueued_ = false;
};

}  // namespace nua::ui
