// The screens that are buttons and a few texts: the start, the three goals' mode choices, the tree
// scan mode and the range of a signature search. Each forwards its
// buttons to the controller and registers what the controller sets.
#pragma once

#include <QWidget>

#include "app/wizard_controller.h"
#include "wizard_widgets.h"

namespace nua::ui {

QWidget* makeMainScreen(WizardController& controller);
// "Recover Files", "Recover Photos" or "Recover Partitions".
QWidget* makeModeScreen(WizardController& controller, const QString& identifier);
QWidget* makeTreeScanModeScreen(WizardController& controller);
QWidget* makeRawSliderScreen(WizardController& controller, WizardWidgets& widgets);

}  // namespace nua::ui
