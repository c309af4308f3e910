// Where the crash-recovery pair lives: the folder by environment and user, a folder made on demand,
// and the folders that must be refused (not creatable, not writable, on the drive being recovered).
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "session/recovery_pair_location.h"
#include "session_test_files.h"

namespace nua {
namespace {

namespace fs = std::filesystem;
using testing_session::scratch;
using testing_session::writeAll;

TEST(RecoveryPairLocationTest, FolderFollowsStateHomeHomeAndRoot) {
  struct Case {
    std::map<std::string, std::string> environment;
    bool root;
    std::string folder;
  } cases[] = {
      {{{"XDG_STATE_HOME", "/home/ann/state"}, {"HOME", "/home/ann"}}, false, "/home/ann/state/nua-recovery"},
      {{{"HOME", "/home/ann"}}, false, "/home/ann/.local/state/nua-recovery"},
      {{{"XDG_STATE_HOME", "relative/state"}, {"HOME", "/home/ann"}}, false, "/home/ann/.local/state/nua-recovery"},
      {{{"XDG_STATE_HOME", ""}, {"HOME", "/home/ann"}}, false, "/home/ann/.local/state/nua-recovery"},
      {{{"XDG_STATE_HOME", "/home/ann/state"}, {"HOME", "/root"}}, true, "/var/lib/nua-recovery"},
  };
  for (const Case& c : cases) {
    const auto lookup = [&](const char* name) -> const char* {
      const auto found = c.environment.find(name);
      return found == c.environment.end() ? nullptr : found->second.c_str();
    };
    EXPECT_EQ(defaultRecoveryPairFolder(lookup, c.root), c.folder);
  }
}

TEST(RecoveryPairLocationTest, FolderIsMadeOnDemandAndRefusedWhenItCannotTakeThePair) {
  const fs::path folder = scratch() / "state" / "deeper" / "nua-recovery";
  StateFolderLocation location(folder.string());
  const RecoveryPairFolderResult made = location.prepareFolder({});
  ASSERT_TRUE(made.paths.has_value()) << made.reason;
  EXPECT_EQ(made.paths->recoveryFile, (folder / "KelvoMediaAutoRecovery.dat").string());
  EXPECT_EQ(made.paths->infoFile, (folder / "KelvoMediaAutoRecoveryInfo.dat").string());
  EXPECT_EQ(fs::status(folder).permissions() & fs::perms::all, fs::perms::owner_all);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 0) << "the write test leaves nothing";

  // A regular file where a folder should be: nothing can be made below it.
  writeAll(scratch() / "a-file", "x");
  const RecoveryPairFolderResult underFile = StateFolderLocation((scratch() / "a-file" / "nua-recovery").string()).prepareFolder({});
  EXPECT_FALSE(underFile.paths.has_value());
  EXPECT_FALSE(underFile.reason.empty());

  StateFolderLocation onSource(folder.string());
  const RecoveryPairFolderResult refused =
      onSource.prepareFolder([&](const std::string& asked) { return asked == folder.string(); });
  EXPECT_FALSE(refused.paths.has_value());
  EXPECT_NE(refused.reason.find("being recovered"), std::string::npos);
  EXPECT_EQ(onSource.paths().recoveryFile, made.paths->recoveryFile) << "lookup needs no preparation";

  if (::geteuid() != 0) {  // root writes anywhere
    const fs::path readOnly = scratch() / "read-only";
    fs::create_directories(readOnly);
    fs::permissions(readOnly, fs::perms::owner_read | fs::perms::owner_exec);
    const RecoveryPairFolderResult unwritable = StateFolderLocation(readOnly.string()).prepareFolder({});
    EXPECT_FALSE(unwritable.paths.has_value());
    EXPECT_NE(unwritable.reason.find("cannot write"), std::string::npos);
    fs::permissions(readOnly, fs::perms::owner_all);
  }
}

}  // namespace
}  // namespace nua
