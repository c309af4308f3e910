// The three list screens: "Drives List" (drives, volumes or both, by the mode), "PT list" (the HFS+
// partitions of the chosen disk) and "PT scan list" (volumes found by the lost-volume search).
#pragma once

#include <QWidget>
#include <functional>

#include "app/kelvo_recovery_software_app_delegate.h"
#include "base/dict.h"
#include "wizard_widgets.h"

namespace nua::ui {

struct DrivesListActions {
  std::function<void()> addDiskImage;
  // Asked before Next goes on with a row; false stops it (the row's device cannot be read).
  std::function<bool(const Dict& row)> mayOpen;
};

QWidget* makeDrivesListScreen(Kelvo_Recovery_SoftwareAppDelegate& controller, WizardWidgets& widgets,
                              DrivesListActions actions);
QWidget* makePTListScreen(Kelvo_Recovery_SoftwareAppDelegate& controller, WizardWidgets& widgets);
QWidget* makePTScanListScreen(Kelvo_Recovery_SoftwareAppDelegate& controller, WizardWidgets& widgets);

// The icon of a row: the theme icon its dictionary names ("IOBundleResourceFile"), else a style icon.
QIcon driveRowIcon(const Dict& row);

}  // namespace nua::ui
