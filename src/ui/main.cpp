// nua-recovery: the desktop program.
#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QTimer>
#include <cstring>
#include <string>
#include <vector>

#include "app/process_watchdog.h"
#include "instance_channel.h"
#include "main_window.h"
#include "screen_walk.h"
#include "session/recovery_pair_location.h"

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
  // The watchdog of a search needs no window: it waits for this program's main process to end.
  if (argc > 1 && std::strcmp(argv[1], nua::kWatchProcessOption) == 0) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const auto watchdog = nua::parseWatchdogArguments(arguments, nua::thisProgramPath(argv[0]));
    return watchdog ? nua::runWatchdog(*watchdog) : 2;
  }
  applySessionEnvironment(argc, argv);
  QApplication app(argc, argv);
  QApplication::setApplicationName("Nua Recovery Software");
  QApplication::setApplicationVersion(PROJECT_VERSION_TEXT);
  QApplication::setDesktopFileName("com.nuarecovery.nua-recovery");
  QCommandLineParser parser;
  parser.setApplicationDescription("Recovers deleted and lost files from disks, volumes and disk images.");
  parser.addHelpOption();
  parser.addVersionOption();
  parser.addPositionalArgument("files", "Disk images to put into the lists of drives and volumes, a recovery "
                               "session file (.nvs) to open, or \"auto\" to resume the signature search a program "
                               "that ended left.", "[FILE...]");
  // For documentation and checks: draw the window once into a PNG and quit.
  QCommandLineOption screenshot("screenshot", "Write the window to FILE as PNG and quit.", "FILE");
  QCommandLineOption walk("walk-screens", "Walk every screen with the image given and write each to DIR.", "DIR");
  walk.setFlags(QCommandLineOption::HiddenFromHelp);
  QCommandLineOption sessionEnv("session-env", "Display setting passed through a privileged restart.", "KEY=VALUE");
  sessionEnv.setFlags(QCommandLineOption::HiddenFromHelp);
  QCommandLineOption recoveryFolder("recovery-folder",
                                    "Keep the state of a running signature search in DIR (default: "
                                    "$XDG_STATE_HOME/nua-recovery, or /var/lib/nua-recovery as root).",
                                    "DIR");
  parser.addOption(screenshot);
  parser.addOption(walk);
  parser.addOption(sessionEnv);
  parser.addOption(recoveryFolder);
  parser.process(app);

  // "auto" (a restart after a crash) resumes the interrupted search; session files open once the
  // window is up; every other file is a disk image for the lists.
  QStringList images;
  QStringList sessions;
  for (const QString& file : parser.positionalArguments()) {
    if (file == nua::kAutoResumeArgument) continue;
    (file.endsWith(".nvs") ? sessions : images) << file;
  }
  const bool documenting = parser.isSet(screenshot) || parser.isSet(walk);

  // One program per user: a second start hands its session files to the first and ends.
  nua::ui::InstanceChannel channel(nua::ui::InstanceChannel::defaultName());
  if (!documenting) {
    QStringList absoluteSessions;
    for (const QString& session : sessions) absoluteSessions << QFileInfo(session).absoluteFilePath();
    if (channel.sendToRunning(nua::ui::InstanceChannel::requestsFor(absoluteSessions))) return 0;
    if (!channel.listen())
      std::fprintf(stderr, "nua-recovery: cannot listen on %s\n", qPrintable(nua::ui::InstanceChannel::defaultName()));
  }

  // The state of each signature search, and the watchdog that starts this program again with "auto"
  // (in the same folder) if it ends during one. Both outlive the window, whose scan thread uses them.
  nua::StateFolderLocation pairFolder = parser.isSet(recoveryFolder)
                                            ? nua::StateFolderLocation(parser.value(recoveryFolder).toStdString())
                                            : nua::StateFolderLocation::forThisProcess();
  std::vector<std::string> restartArguments;
  if (parser.isSet(recoveryFolder)) restartArguments = {"--recovery-folder", pairFolder.folder()};
  nua::ProcessWatchdogGuard watchdog(nua::thisProgramPath(argv[0]), restartArguments);

  nua::ui::MainWindow window(images);
  QObject::connect(&channel, &nua::ui::InstanceChannel::openRequested, &window,
                   [&window](const QString& path) { window.openScanInfoFile(path); });
  QObject::connect(&channel, &nua::ui::InstanceChannel::raiseRequested, &window, [&window] { window.bringToFront(); });
  if (!documenting) {
    QObject::connect(&window, &nua::ui::MainWindow::handedOverToAdministratorProgram, &channel,
                     [&channel] { channel.close(); });
    QObject::connect(&window, &nua::ui::MainWindow::takenBackFromAdministratorProgram, &channel,
                     [&channel] { channel.listen(); });
    window.enableCrashRecovery(&pairFolder, &watchdog);
  }

  window.show();
  if (!documenting) {
    QStringList startArguments = parser.positionalArguments();
    QTimer::singleShot(0, &window, [&window, startArguments] { window.startUp(startArguments); });
  } else if (!sessions.isEmpty() && !parser.isSet(walk)) {
    QTimer::singleShot(0, &window, [&window, session = sessions.front()] { window.openScanInfoFile(session); });
  }
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
