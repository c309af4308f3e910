// "Signatures": the outline of file types of the goal's catalog with its size and mark columns, find
// in file types with its stepper, "Load File Types", adding and removing custom file types, the
// counts and speed bar, the raw-search box, and Next, skip, back and home. Every decision and text
// comes from the controller's signature screen; a mark changes the rows in place, so the outline is
// never rebuilt while Qt is still handling a click.
#pragma once

#include <QWidget>

#include "app/wizard_controller.h"
#include "wizard_widgets.h"

class QTreeWidget;
class QTreeWidgetItem;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

namespace nua::ui {

class AddFileTypeSheet;
class SpeedBar;

class SignaturesPage : public QWidget {
 public:
  SignaturesPage(WizardController& controller, WizardWidgets& widgets);

  // Outline columns.
  static constexpr int kFileTypesColumn = 0;
  static constexpr int kSizeColumn = 1;
  static constexpr int kMarkColumn = 2;

 private:
  QLayout* makeFindRow();
  QLayout* makeToolsRow(WizardWidgets& widgets);
  void reload();
  // True when the rows stand for the catalog's nodes, in its order: a reload then only refreshes them.
  [[nodiscard]] bool rowsMatchCatalog() const;
  void refreshRows();
  void rebuildRows();
  void showCountsAndButtons();
  void itemChanged(QTreeWidgetItem* item, int column);
  void findClicked();
  void selectRowOf(const SigNode* node);
  [[nodiscard]] SigNode* selectedNode() const;
  void removeClicked();

  WizardController& controller_;
  SignatureScreen& screen_;
  QTreeWidget* outline_ = nullptr;
  QLineEdit* findField_ = nullptr;
  QSpinBox* stepper_ = nullptr;
  QLabel* findStatus_ = nullptr;
  QLabel* markedCount_ = nullptr;
  QLabel* totalCount_ = nullptr;
  QLabel* categoriesCount_ = nullptr;
  SpeedBar* speedBar_ = nullptr;
  QPushButton* markAll_ = nullptr;
  QPushButton* unmarkAll_ = nullptr;
  QPushButton* loadFileTypes_ = nullptr;
  QPushButton* addType_ = nullptr;
  QPushButton* removeType_ = nullptr;
  AddFileTypeSheet* addSheet_ = nullptr;
  bool handlingMark_ = false;
  bool rebuildQueued_ = false;
};

}  // namespace nua::ui
