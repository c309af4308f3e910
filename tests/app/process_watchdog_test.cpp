// The watchdog as real processes: a "main" process forks from the test, starts its watchdog and is
// killed; the watchdog starts the program again with "auto" only when a pair no search holds is left,
// and only a bounded number of times in a row.
#include "app/process_watchdog.h"

#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "app/recovery_pair_keeper.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

TEST(WatchdogDecision, RestartsOnlyForAWholePairNoSearchHoldsWithinTheBound) {
  const RecoveryPairPresence both{true, true};
  EXPECT_TRUE(watchdogShouldRestart(both, false, 0));
  EXPECT_TRUE(watchdogShouldRestart(both, false, kMaxAutoRestartsInARow - 1));
  EXPECT_FALSE(watchdogShouldRestart(both, false, kMaxAutoRestartsInARow));
  EXPECT_FALSE(watchdogShouldRestart(both, true, 0));  // another search keeps it
  EXPECT_FALSE(watchdogShouldRestart({true, false}, false, 0));
  EXPECT_FALSE(watchdogShouldRestart({false, true}, false, 0));
  EXPECT_FALSE(watchdogShouldRestart({false, false}, false, 0));
}

TEST(WatchdogArguments, OnlyAWatchdogsArgumentsAreTaken) {
  const auto options =
      parseWatchdogArguments({"--watch-process", "4242", "--recovery-folder", "/s/nua", "--",
                              "--recovery-folder", "/s/nua"},
                             "/usr/bin/nua-recovery");
  ASSERT_TRUE(options);
  EXPECT_EQ(options->watchedProcess, 4242);
  EXPECT_EQ(options->pairFolder, "/s/nua");
  EXPECT_EQ(options->program, "/usr/bin/nua-recovery");
  EXPECT_EQ(options->restartArguments, (std::vector<std::string>{"--recovery-folder", "/s/nua"}));
  EXPECT_TRUE(parseWatchdogArguments({"--watch-process", "4242", "--recovery-folder", "/s"}, "p"));
  EXPECT_FALSE(parseWatchdogArguments({}, "p"));
  EXPECT_FALSE(parseWatchdogArguments({"disk.img"}, "p"));
  EXPECT_FALSE(parseWatchdogArguments({"--watch-process", "42x", "--recovery-folder", "/s"}, "p"));
  EXPECT_FALSE(parseWatchdogArguments({"--watch-process", "1", "--recovery-folder", "/s"}, "p"));
  EXPECT_FALSE(parseWatchdogArguments({"--watch-process", "42", "--recovery-folder", ""}, "p"));
  EXPECT_FALSE(parseWatchdogArguments({"--watch-process", "42", "--recovery-folder", "/s", "auto"}, "p"));
}

class WatchdogProcess : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = fs::temp_directory_path() / ("nua-watchdog-" + std::to_string(::getpid()));
    fs::remove_all(folder);
    fs::create_directories(folder);
    marker = folder / "restarted";
    pair = RecoveryPairPaths::inFolder(folder.string());
  }
  void TearDown() override { fs::remove_all(folder); }

  void writePair() {
    std::ofstream(pair.recoveryFile) << "pair";
    std::ofstream(pair.infoFile) << "";
  }

  // Forks the "main" process: it starts the watchdog, does `beforeDeath`, and is killed. Returns the
  // watchdog's process id.
  pid_t runMainAndKillIt(int restartsSoFar, const std::function<void()>& beforeDeath) {
    int ends[2];
    if (::pipe(ends) != 0) return 0;
    const pid_t main = ::fork();
    if (main == 0) {
      ::close(ends[0]);
      ::setenv("NUA_TEST_RESTART_MARKER", marker.c_str(), 1);
      if (restartsSoFar > 0) ::setenv(kAutoRestartCountVariable, std::to_string(restartsSoFar).c_str(), 1);
      ProcessWatchdogGuard guard(NUA_TEST_WATCHDOG_PROGRAM, {"--recovery-folder", folder.string()});
      const bool started = guard.guardSearch(pair).empty() && guard.guardSearch(pair).empty();
      const pid_t watchdog = started ? guard.watchdogProcess() : 0;
      [[maybe_unused]] const auto written = ::write(ends[1], &watchdog, sizeof watchdog);
      // Give the watchdog time to take hold of this process before it ends.
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      beforeDeath();
      ::raise(SIGKILL);
    }
    ::close(ends[1]);
    pid_t watchdog = 0;
    if (::read(ends[0], &watchdog, sizeof watchdog) != sizeof watchdog) watchdog = 0;
    ::close(ends[0]);
    int status = 0;
    ::waitpid(main, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    return watchdog;
  }

  // Waits until the marker is there or `process` has ended (gone or a zombie nobody reaps).
  bool markerAppears(pid_t process) {
    for (int i = 0; i < 200; ++i) {
      if (fs::exists(marker)) return true;
      std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
      std::string pid, name, state;
      if (!(stat >> pid >> name >> state) || state == "Z") return fs::exists(marker);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return fs::exists(marker);
  }

  std::string markerText() {
    std::ifstream in(marker);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

  fs::path folder, marker;
  RecoveryPairPaths pair;
};

TEST_F(WatchdogProcess, AKilledSearchIsStartedAgainWithAutoInTheSameEnvironment) {
  writePair();
  const pid_t watchdog = runMainAndKillIt(0, [] {});
  ASSERT_GT(watchdog, 0);
  ASSERT_TRUE(markerAppears(watchdog));
  EXPECT_EQ(markerText(), "auto --recovery-folder " + folder.string() + " \n1\n");
}

// The end of a process can be reported while its last threads still close its files: a lock that goes
// a moment after the end is the ended search's own.
TEST_F(WatchdogProcess, ALockThatGoesJustAfterTheEndIsTheEndedSearchs) {
  writePair();
  const fs::path lockPath = folder / kRecoveryPairLockName;
  const int lock = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(lock, 0);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  const pid_t watchdog = runMainAndKillIt(0, [] {});
  ASSERT_GT(watchdog, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  ::close(lock);
  ASSERT_TRUE(markerAppears(watchdog));
}

TEST_F(WatchdogProcess, NothingIsStartedWhenTheSearchEndedOrTheRestartsAreUsedUp) {
  writePair();
  // The search ended before the process: its clean-up removed the pair.
  pid_t watchdog = runMainAndKillIt(0, [this] { removeRecoveryPair(pair); });
  ASSERT_GT(watchdog, 0);
  EXPECT_FALSE(markerAppears(watchdog));

  writePair();
  watchdog = runMainAndKillIt(kMaxAutoRestartsInARow, [] {});
  ASSERT_GT(watchdog, 0);
  EXPECT_FALSE(markerAppears(watchdog));
  EXPECT_TRUE(recoveryPairPresence(pair).both()) << "the pair stays for the next start's question";

  // A pair another search holds is no crash's leftover.
  const fs::path lockPath = folder / kRecoveryPairLockName;
  const int lock = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(lock, 0);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  watchdog = runMainAndKillIt(0, [] {});
  EXPECT_FALSE(markerAppears(watchdog));
  ::close(lock);
}

}  // namespace
}  // namespace nua
