// The watchdog of a signature search: a second process of the same program, started once the first
// search's recovery pair stands, that waits for the main process to end. If it ends while a pair is
// left that no search holds, the watchdog becomes the program again, started with "auto", in the same
// environment (so on the same display), and the search resumes. A bounded number of such restarts in
// a row keeps a source that brings the program down every time from restarting it for ever; after
// that the pair stays and the next start asks whether to resume.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "app/search_guard.h"
#include "session/recovery_pair.h"

namespace nua {

// The hidden option that runs the program as the watchdog of the process named after it.
inline constexpr const char* kWatchProcessOption = "--watch-process";
// How many restarts in a row the environment has seen; set by the watchdog for the program it starts.
inline constexpr const char* kAutoRestartCountVariable = "NUA_RECOVERY_AUTO_RESTARTS";
inline constexpr int kMaxAutoRestartsInARow = 5;

// Whether the watchdog starts the program again once the watched process has ended.
[[nodiscard]] bool watchdogShouldRestart(RecoveryPairPresence pair, bool pairInUse, int restartsSoFar);

// Starts the watchdog once per process, at the first search guarded: `program` with
// kWatchProcessOption, this process's id, the pair's folder and `restartArguments` (what the program
// is to be started with besides "auto"). Its standard files are /dev/null and it has a session of its
// own, so that neither a closed terminal nor a pipe waiting for the program's output depends on it.
class ProcessWatchdogGuard final : public SearchGuard {
 public:
  ProcessWatchdogGuard(std::string program, std::vector<std::string> restartArguments);
  std::string guardSearch(const RecoveryPairPaths& pair) override;
  // The watchdog's process id, once started.
  [[nodiscard]] pid_t watchdogProcess() const { return watchdog_.load(); }

 private:
  std::string program_;
  std::vector<std::string> restartArguments_;
  std::atomic<pid_t> watchdog_{0};
};

struct WatchdogOptions {
  pid_t watchedProcess = 0;
  std::string pairFolder;
  std::string program;                        // started again with "auto"
  std::vector<std::string> restartArguments;  // after "auto"
};

// Reads `--watch-process PID --recovery-folder DIR [-- ARGUMENT...]`, the arguments after the
// program's name; nothing when they are not a watchdog's.
[[nodiscard]] std::optional<WatchdogOptions> parseWatchdogArguments(const std::vector<std::string>& arguments,
                                                                    std::string program);

// The running program's own file, for starting it again; `argv0` when the system can't tell.
[[nodiscard]] std::string thisProgramPath(const char* argv0);

// The watchdog's life: waits for the watched process to end, then either becomes the program again
// (and does not return) or returns the exit status: 0 when there was nothing to resume, 1 on failure.
int runWatchdog(const WatchdogOptions& options);

}  // namespace nua
