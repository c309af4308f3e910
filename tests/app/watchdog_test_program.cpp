// A stand-in for the desktop program in the watchdog's tests: run as the watchdog it watches; started
// again with "auto" it writes its arguments and the restart count to $NUA_TEST_RESTART_MARKER.
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "app/process_watchdog.h"

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (auto watchdog = nua::parseWatchdogArguments(arguments, argv[0])) return nua::runWatchdog(*watchdog);
  const char* marker = std::getenv("NUA_TEST_RESTART_MARKER");
  if (marker == nullptr) return 2;
  std::ofstream out(std::string(marker) + ".part");
  for (const std::string& argument : arguments) out << argument << ' ';
  const char* count = std::getenv(nua::kAutoRestartCountVariable);
  out << '\n' << (count != nullptr ? count : "none") << '\n';
  out.close();
  // Renamed into place, so the test never reads half a marker.
  return std::rename((std::string(marker) + ".part").c_str(), marker) == 0 ? 0 : 1;
}
