// A test option of the program: walks every screen of the wizard with a disk image, as a user would
// click through them, and writes each screen to a PNG file named after its tab identifier.
#pragma once

#include <QString>

namespace nua::ui {

class MainWindow;

// Starts the walk; the program quits when it ends, with exit code 0 when every screen was written.
void walkScreens(MainWindow& window, const QString& folder, const QString& image);

}  // namespace nua::ui
