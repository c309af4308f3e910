// The "Tree" screen: the outline of the recovered tree with its check boxes, the view toggles, the
// totals, saving into a chosen folder, and the way back. It draws and forwards; the decisions are
// the core's (TreeViewState, CheckController, SaveRun).
#pragma once

#include <QWidget>

#include "app/kelvo_recovery_software_app_delegate.h"
#include "base/ui_bridge.h"

namespace nua::ui {

class TreePage : public QWidget {
  Q_OBJECT

 public:
  TreePage(nua::Kelvo_Recovery_SoftwareAppDelegate& controller, nua::UiBridge& ui, QWidget* parent = nullptr);
  ~TreePage() override;

  // The controller has shown "Tree": takes the selected volume's result and shows its data view.
  void showResult();

 signals:
  void backClicked();
  void homeClicked();
  void saveSessionClicked();

 private:
  nua::Kelvo_Recovery_SoftwareAppDelegate& controller_;
  nua::UiBridge& ui_;
};

}  // namespace nua::ui
