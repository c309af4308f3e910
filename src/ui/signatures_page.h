// "Signatures": the outline of file types of the goal's catalog with a mark box on each row, the
// raw-search box, and Next, skip, back and home. Marks go to the controller, which gates Next.
#pragma once

#include <QWidget>

#include "app/kelvo_recovery_software_app_delegate.h"
#include "wizard_widgets.h"

class QTreeWidget;
class QTreeWidgetItem;
class QLabel;

namespace nua::ui {

class SignaturesPage : public QWidget {
 public:
  SignaturesPage(Kelvo_Recovery_SoftwareAppDelegate& controller, WizardWidgets& widgets);

 private:
  void reload();
  void itemChanged(QTreeWidgetItem* item, int column);

  Kelvo_Recovery_SoftwareAppDelegate& controller_;
  QTreeWidget* outline_ = nullptr;
  QLabel* count_ = nullptr;
};

}  // namespace nua::ui
