// The screens that are buttons and a few texts: the start, the three goals' mode choices, the tree
// scan mode and the range of a signature search. Each forwards its
// buttons to the controller and registers what the controller sets.
#pragma once

#include <QWidget>

#include "app/kelvo_recovery_software_app_delegate.h"
#include "wizard_widgets.h"

namespace nua::ui {

QWidget* makeMainScreen(Kelvo_Recovery_SoftwareAppDelegate& controller);
// "Recover Files", "Recover Photos" or "Recover Partitions".
QWidget* makeModeScreen(Kelvo_Recovery_SoftwareAppDelegate& controller, const QString& identifier);
QWidget* makeTreeScanModeScreen(Kelvo_Recovery_SoftwareAppDelegate& controller);
QWidget* makeRawSliderScreen(Kelvo_Recovery_SoftwareAppDelegate& controller, WizardWidgets& widgets);

}  // namespace nua::ui
