// nua-recovery: the desktop program.
#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>
#include <cstring>
#include <string>

#include "main_window.h"
#include "screen_walk.h"

namespace {

// pkexec starts the program with an empty environment; the display settings it needs come back as
// "--session-env KEY=VALUE" options, read before the toolkit starts. Only these keys are taken.
void applySessionEnvironment(int argc, char** argv) {
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::strcmp(argv[i], "--session-env") != 0) continue;
    const std::string pair = argv[i + 1];
    const std::size_t equals = pair.find('=');
    if (equals == std::string::npos) continue;
    const std::string key = pair.substr(0, equals);
    if (key == "DISPLAY" || key == "XAUTHORITY" || key == "WAYLAND_DISPLAY" || key == "XDG_RUNTIME_DIR" ||
        key == "QT_QPA_PLATFORM")
      qputenv(key.c_str(), QByteArray::fromStdString(pair.substr(equals + 1)));
  }
}

}  // namespace

int main(int argc, char** argv) {
  applySessionEnvironment(argc, argv);
  QApplication app(argc, argv);
  QApplication::setApplicationName("Nua Recovery Software");
  QApplication::setApplicationVersion(PROJECT_VERSION_TEXT);
  QApplication::setDesktopFileName("com.nuarecovery.nua-recovery");
  QCommandLineParser parser;
  parser.setApplicationDescription("Recovers deleted and lost files from disks, volumes and disk images.");
  parser.addHelpOption();
  parser.addVersionOption();
  parser.addPositionalArgument("files", "Disk images to put into the lists of drives and volumes, or a recovery "
                               "session file (.nvs) to open.", "[FILE...]");
  // For documentation and checks: draw the window once into a PNG and quit.
  QCommandLineOption screenshot("screenshot", "Write the window to FILE as PNG and quit.", "FILE");
  QCommandLineOption walk("walk-screens", "Walk every screen with the image given and write each to DIR.", "DIR");
  walk.setFlags(QCommandLineOption::HiddenFromHelp);
  QCommandLineOption sessionEnv("session-env", "Display setting passed through a privileged restart.", "KEY=VALUE");
  sessionEnv.setFlags(QCommandLineOption::HiddenFromHelp);
  parser.addOption(screenshot);
  parser.addOption(walk);
  parser.addOption(sessionEnv);
  parser.process(app);

  // Session files open once the window is up; every other file is a disk image for the lists.
  QStringList images;
  QStringList sessions;
  for (const QString& file : parser.positionalArguments()) (file.endsWith(".nvs") ? sessions : images) << file;
  nua::ui::MainWindow window(images);
  window.show();
  if (!sessions.isEmpty() && !parser.isSet(walk))
    QTimer::singleShot(0, &window, [&window, session = sessions.front()] { window.openScanInfoFile(session); });
  if (parser.isSet(screenshot)) {
    const QString file = parser.value(screenshot);
    QTimer::singleShot(300, &window, [&window, file] {
      const bool saved = window.grab().save(file, "PNG");
      QApplication::exit(saved ? 0 : 1);
    });
  } else if (parser.isSet(walk)) {
    if (images.isEmpty()) {
      std::fprintf(stderr, "nua-recovery: --walk-screens needs a disk image\n");
      return 2;
    }
    nua::ui::walkScreens(window, parser.value(walk), images.front());
  }
  return QApplication::exec();
}
