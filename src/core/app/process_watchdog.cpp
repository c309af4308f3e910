#include "app/process_watchdog.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "app/lifecycle_decisions.h"
#include "app/recovery_pair_keeper.h"
#include "base/log.h"

extern char** environ;

namespace nua {

namespace {

// The argument vector exec and spawn take, over `arguments`, which must outlive it.
std::vector<char*> argumentVector(std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  return argv;
}

int restartsSoFar() {
  const char* text = std::getenv(kAutoRestartCountVariable);
  if (text == nullptr) return 0;
  int count = 0;
  const auto [end, error] = std::from_chars(text, text + std::strlen(text), count);
  return error == std::errc() && count >= 0 ? count : 0;
}

// The watchdog may have inherited what the program had open without close-on-exec: the source device
// among them, which it must not keep busy for the hours it waits.
void closeInheritedFiles() {
#ifdef SYS_close_range
  if (::syscall(SYS_close_range, 3U, ~0U, 0U) == 0) return;
#endif
  for (int fd = 3; fd < 4096; ++fd) ::close(fd);
}

// Blocks until `process` has ended. It is this watchdog's parent: once it is no longer, it has ended,
// and its number may already name another process.
void waitForEnd(pid_t process) {
#ifdef SYS_pidfd_open
  const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
  if (pidfd >= 0) {
    if (::getppid() == process) {
      pollfd ready{pidfd, POLLIN, 0};
      while (::poll(&ready, 1, -1) < 0 && errno == EINTR) {
      }
    }
    ::close(pidfd);
    return;
  }
  if (errno == ESRCH) return;
#endif
  // Without process descriptors: ask once a second.
  while (::getppid() == process && (::kill(process, 0) == 0 || errno == EPERM)) ::sleep(1);
}

// The process may be reported ended while its last threads still close its files, the pair's lock
// among them: give the lock a few seconds to go before taking the pair for another search's.
bool pairStillInUse(const RecoveryPairPaths& pair) {
  for (int i = 0; i < 50; ++i) {
    if (!recoveryPairInUse(pair)) return false;
    ::usleep(100'000);
  }
  return true;
}

}  // namespace

bool watchdogShouldRestart(RecoveryPairPresence pair, bool pairInUse, int restartsSoFar) {
  return pair.both() && !pairInUse && restartsSoFar < kMaxAutoRestartsInARow;
}

ProcessWatchdogGuard::ProcessWatchdogGuard(std::string program, std::vector<std::string> restartArguments)
    : program_(std::move(program)), restartArguments_(std::move(restartArguments)) {}

std::string ProcessWatchdogGuard::guardSearch(const RecoveryPairPaths& pair) {
  // One watchdog serves every search of this process: it looks at the pair when the process ends.
  if (watchdog_.load() != 0) return {};
  const std::string folder = std::filesystem::path(pair.infoFile).parent_path().string();
  std::vector<std::string> arguments{program_, kWatchProcessOption, std::to_string(::getpid()),
                                     "--recovery-folder", folder, "--"};
  arguments.insert(arguments.end(), restartArguments_.begin(), restartArguments_.end());
  std::vector<char*> argv = argumentVector(arguments);

  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  for (int fd = 0; fd <= 2; ++fd)
    posix_spawn_file_actions_addopen(&files, fd, "/dev/null", fd == 0 ? O_RDONLY : O_WRONLY, 0);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  short flags = POSIX_SPAWN_SETSIGMASK;
#ifdef POSIX_SPAWN_SETSID
  flags |= POSIX_SPAWN_SETSID;
#endif
  posix_spawnattr_setflags(&attributes, flags);
  pid_t child = 0;
  const int error = ::posix_spawn(&child, program_.c_str(), &files, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  if (error != 0) return "cannot start the watchdog " + program_ + ": " + std::strerror(error);
  watchdog_.store(child);
  return {};
}

std::optional<WatchdogOptions> parseWatchdogArguments(const std::vector<std::string>& arguments,
                                                      std::string program) {
  if (arguments.size() < 4 || arguments[0] != kWatchProcessOption || arguments[2] != "--recovery-folder")
    return std::nullopt;
  WatchdogOptions options;
  const std::string& pidText = arguments[1];
  long pid = 0;
  const auto [end, error] = std::from_chars(pidText.data(), pidText.data() + pidText.size(), pid);
  if (error != std::errc() || end != pidText.data() + pidText.size() || pid <= 1) return std::nullopt;
  options.watchedProcess = static_cast<pid_t>(pid);
  options.pairFolder = arguments[3];
  if (options.pairFolder.empty()) return std::nullopt;
  std::size_t next = 4;
  if (next < arguments.size()) {
    if (arguments[next] != "--") return std::nullopt;
    options.restartArguments.assign(arguments.begin() + static_cast<std::ptrdiff_t>(next) + 1, arguments.end());
  }
  options.program = std::move(program);
  return options;
}

std::string thisProgramPath(const char* argv0) {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error && !self.empty()) return self.string();
  const std::filesystem::path absolute = std::filesystem::absolute(argv0 != nullptr ? argv0 : "", error);
  return error ? std::string(argv0 != nullptr ? argv0 : "") : absolute.string();
}

int runWatchdog(const WatchdogOptions& options) {
  closeInheritedFiles();
  waitForEnd(options.watchedProcess);
  const RecoveryPairPaths pair = RecoveryPairPaths::inFolder(options.pairFolder);
  const int restarts = restartsSoFar();
  const RecoveryPairPresence presence = recoveryPairPresence(pair);
  if (!watchdogShouldRestart(presence, presence.both() && pairStillInUse(pair), restarts)) return 0;
  std::vector<std::string> arguments{options.program, kAutoResumeArgument};
  arguments.insert(arguments.end(), options.restartArguments.begin(), options.restartArguments.end());
  std::vector<char*> argv = argumentVector(arguments);
  const std::string count = std::to_string(restarts + 1);
  ::setenv(kAutoRestartCountVariable, count.c_str(), 1);
  ::execv(options.program.c_str(), argv.data());
  logLine("watchdog: cannot start " + options.program + ": " + std::strerror(errno));
  return 1;
}

}  // namespace nua
