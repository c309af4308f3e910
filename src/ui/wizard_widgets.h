// The widgets of the screens that the controller sets through WizardView, found by their control,
// field and table: the pages register them, the main window applies the controller's calls to them.
#pragma once

#include <QMap>
#include <QString>
#include <QWidget>
#include <functional>

#include "app/wizard_view.h"

namespace nua::ui {

struct WizardWidgets {
  QMap<WizardControl, QWidget*> controls;
  QMap<WizardField, std::function<void(const QString&)>> fields;
  QMap<WizardTable, std::function<void()>> reload;
  QMap<WizardTable, std::function<void()>> deselect;
  std::function<void(float, float)> sliders;
};

}  // namespace nua::ui
