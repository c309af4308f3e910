// nua-recovery: the desktop program.
#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

#include "main_window.h"

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName("Nua Recovery Software");
  QCommandLineParser parser;
  parser.addHelpOption();
  // For documentation and checks: draw the window once into a PNG and quit.
  QCommandLineOption screenshot("screenshot", "Write the window to FILE as PNG and quit.", "FILE");
  parser.addOption(screenshot);
  parser.process(app);

  nua::ui::MainWindow window;
  window.show();
  if (parser.isSet(screenshot)) {
    const QString file = parser.value(screenshot);
    QTimer::singleShot(300, &window, [&window, file] {
      const bool saved = window.grab().save(file, "PNG");
      QApplication::exit(saved ? 0 : 1);
    });
  }
  return QApplication::exec();
}
