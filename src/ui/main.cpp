// nua-recovery: the desktop program.
#include <QApplication>

#include "main_window.h"

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName("Nua Recovery Software");
  nua::ui::MainWindow window;
  window.show();
  return QApplication::exec();
}
