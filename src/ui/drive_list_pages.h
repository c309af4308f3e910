// The three list screens: "Drives List" (drives, volumes or both, by the mode), "PT list" (the HFS+
// partitions of the chosen disk) and "PT scan list" (volumes found by the lost-volume search).
#pragma once

#include <QWidget>
#include <functional>

#include "app/wizard_controller.h"
#include "base/dict.h"
#include "wizard_widgets.h"

namespace nua::ui {

struct DrivesListActions {
  std::function<void()> addDiskImage;
  // Asked before Next goes on with a row; false stops it (the row's device cannot be read).
  std::function<bool(const DriveRow& row)> mayOpen;
};

QWidget* makeDrivesListScreen(WizardController& controller, WizardWidgets& widgets,
                              DrivesListActions actions);
QWidget* makePTListScreen(WizardController& controller, WizardWidgets& widgets);
QWidget* makePTScanListScreen(WizardController& controller, WizardWidgets& widgets);

// The icon of a row: the theme icon its dictionary names ("IOBundleResourceFile"), else a style icon.
QIcon driveRowIcon(const DriveRow& row);

}  // namespace nua::ui
