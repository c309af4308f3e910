#include "save/save_run.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <thread>

#include "base/log.h"
#include "base/text.h"
#include "records/entry_ops.h"
#include "save/detail/live_data_map.h"
#include "save/detail/save_names.h"
#include "view/detail/tree_walk.h"
#include "view/entry_view_helper.h"
#include "volume/volume.h"

namespace nua {

namespace {

// Folders held open at once while walking down: one per level. Deeper folders are reported failed
// rather than running the process out of descriptors.
constexpr std::size_t kMaxOpenFolders = 512;
// A name keeps gaining "_" until it is free; this many tries is far beyond any real folder.
constexpr int kMaxNameTries = 4096;
// Recovered files are data: nobody should run a recovered photo. Folders are open to read.
constexpr mode_t kSavedFileMode = 0644;
constexpr mode_t kSavedFolderMode = 0755;

// Opens the folder `name` in parentFd, making it first when it is not there. A name held by anything
// but a folder (or by a link) is never reused: "_" is added until one is free. Returns the descriptor
// or -1, and the name used.
int openFolder(int parentFd, std::string name, std::string& used, bool& created) {
  for (int attempt = 0; attempt < kMaxNameTries; ++attempt, name = detail::collisionName(name)) {
    created = ::mkdirat(parentFd, name.c_str(), kSavedFolderMode) == 0;
    if (!created && errno != EEXIST) return -1;
    const int fd = ::openat(parentFd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd >= 0) {
      used = name;
      return fd;
    }
    if (errno != ENOTDIR && errno != ELOOP) return -1;
  }
  return -1;
}

}  // namespace

std::string savedDataText(std::uint64_t savedData) {
  char text[64];
  const auto bytes = static_cast<float>(savedData);
  if (savedData <= 999999) {
    std::snprintf(text, sizeof text, "Saved: %.2f KB", static_cast<double>(bytes / 1e3f));
  } else if (savedData <= 999999999) {
    std::snprintf(text, sizeof text, "Saved: %.2f MB", static_cast<double>(bytes / 1e6f));
  } else {
    std::snprintf(text, sizeof text, "Saved: %.2f GB", static_cast<double>(bytes / 1e9f));
  }
  return text;
}

struct SaveRun::Folder {
  Entry* dir;
  int fd;
  std::string path;  // below the chosen folder, for the list of failures
  std::uint32_t next = 0;
};

SaveRun::SaveRun(MediaReader& source, TreeViewState& view, UiBridge& ui) : source_(source), view_(view), ui_(ui) {}

SaveRun::~SaveRun() = default;

bool SaveRun::saveData(bool previewVisible) {
  if (previewVisible) ui_.previewClose();
  const int answer = ui_.runAlertPanel(
      {"Information",
       "Please ensure that you are not saving recovered data to the same volume from which you are recovering. "
       "Saving the recovered data to the same hard drive / volume would result in permanent data loss. Do you want "
       "to continue?",
       {"Yes", "No"}});
  return answer == 0;
}

bool SaveRun::checkDestination(const std::string& path) {
  if (!sourceIdentity_.known) sourceIdentity_ = sourceIdentityOf(source_);
  const DestinationVerdict verdict =
      checkDestinationFacts(probe_(path), view_.markedData(), sourceIdentity_, storageLookup_);
  if (verdict.refusal) {
    (void)ui_.runAlertPanel(*verdict.refusal);
    return false;
  }
  canSaveSlashes = verdict.canSaveSlashes;
  limitedFileSystem_ = verdict.limitedFileSystem;
  savedData = 0;
  return true;
}

SaveReport SaveRun::saveFilesAndFolders(const std::string& path) {
  SaveReport report;
  if (asksAboutFileSystem()) {
    const int answer = ui_.runAlertPanel(
        {"Information",
         formatText("It is highly recommended to save data on a Linux native filesystem. The volume chosen for "
                    "saving data has a %@ filesystem, which can not keep every recovered file as it was (file "
                    "sizes, names and dates), and not a native filesystem such as \"ext4\", \"XFS\" or \"Btrfs\". "
                    "Click OK to continue with saving data on this volume OR click Cancel to go back and choose "
                    "another volume",
                    {limitedFileSystem_}),
         {"OK", "Cancel"}});
    if (answer == 1) return report;
  }
  report.started = true;
  abortSaving = false;
  saveCount = 0;
  showSavingProgress = true;
  failures_.clear();
  failedCount_ = 0;
  liveData_.reset();

  // The clock of the saving sheet; it also lets the next write report progress once a second.
  std::mutex clockMutex;
  std::condition_variable clockWake;
  bool stopElapsedTimeThread = false;
  const auto scanStartDate = std::chrono::steady_clock::now();
  std::thread clock([&] {
    std::unique_lock lock(clockMutex);
    while (!clockWake.wait_for(lock, std::chrono::seconds(1), [&] { return stopElapsedTimeThread; })) {
      const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - scanStartDate;
      if (sink_ != nullptr) sink_->elapsedTime(getTimeFormStringForInterval(elapsed.count()));
      showSavingProgress = true;
    }
  });
  if (view_.dirRootTemp() != nullptr) saveDir(view_.dirRootTemp(), path);
  {
    std::lock_guard lock(clockMutex);
    stopElapsedTimeThread = true;
  }
  clockWake.notify_all();
  clock.join();

  report.aborted = abortSaving;
  report.saveCount = saveCount;
  report.failures = failures_;
  report.failedCount = failedCount_;
  report.savedFiles = saveCount >= failedCount_ ? saveCount - failedCount_ : 0;
  std::string text = formatText(report.aborted ? "Saving location was: %@" : "Saved at: %@", {path});
  if (failedCount_ != 0) {
    text += formatText("\n%@ files could not be saved whole with their own data.", {std::to_string(failedCount_)});
  }
  report.finalAlert = Alert{report.aborted ? "Saving Aborted" : "Saving Completed", text, {"OK"}};
  (void)ui_.runAlertPanel(report.finalAlert);
  return report;
}

std::string SaveRun::nameForSaving(const Entry* dir) const {
  std::string name = toUtf8(shownNameOfDir(dir));
  if (dir->viewHelper != nullptr && dir->viewHelper->appendChildrenArrayCount() == 1) {
    name = formatText("%@ [%@]", {name, std::to_string(dir->childListCount())});
  }
  // A record without a name still needs one on the destination.
  if (name.empty()) name = "Unnamed";
  return detail::replaceSlashes(name, canSaveSlashes == 1);
}

void SaveRun::saveDir(Entry* dir, const std::string& path) {
  if (dir == nullptr || !view_.isMarkedForSaving(dir)) return;
  const int baseFd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (baseFd < 0) {
    countFailedBelow(dir, nameForSaving(dir), "the chosen folder could not be opened");
    return;
  }
  saveFolderTree(baseFd, dir, "");
  ::close(baseFd);
}

void SaveRun::saveFolderTree(int baseFd, Entry* top, const std::string& basePath) {
  std::vector<Folder> stack;
  // Makes and enters one marked folder, writing its files; false when there is nothing to go into.
  const auto enter = [&](int parentFd, Entry* dir, const std::string& parentPath) {
    const std::string name = nameForSaving(dir);
    std::string used = name;
    bool created = false;
    const int fd = stack.size() < kMaxOpenFolders ? openFolder(parentFd, name, used, created) : -1;
    const std::string path = parentPath.empty() ? used : parentPath + "/" + used;
    if (fd < 0) {
      countFailedBelow(dir, path, "the folder could not be made");
      return;
    }
    if (created) giveToUser(fd);
    if (dir->childrenCount == 0) {
      ::close(fd);
      return;
    }
    stack.push_back({dir, fd, path});
    saveFilesOf(stack.back());
  };
  enter(baseFd, top, basePath);
  while (!stack.empty()) {
    Folder& folder = stack.back();
    if (abortSaving || folder.next >= folder.dir->childListCount()) {
      ::close(folder.fd);
      stack.pop_back();
      continue;
    }
    Entry* child = childAtIndex(folder.next++, folder.dir);
    if (child == nullptr || child->childrenCount == 0 || !view_.isMarkedForSaving(child)) continue;
    const int parentFd = folder.fd;
    const std::string parentPath = folder.path;
    enter(parentFd, child, parentPath);
  }
}

void SaveRun::saveFilesOf(const Folder& folder) {
  const Entry* dir = folder.dir;
  for (std::uint32_t index = 0; index < dir->childListCount() && !abortSaving; ++index) {
    Entry* child = childAtIndex(index, dir);
    if (child == nullptr) continue;
    if (child->fileType == 1) {
      // Folders with entries below them are made when the walk enters them; empty ones here.
      if (child->childrenCount != 0 || !view_.isMarkedForSaving(child)) continue;
      std::string used;
      bool created = false;
      const int fd = openFolder(folder.fd, nameForSaving(child), used, created);
      if (fd >= 0) {
        if (created) giveToUser(fd);
        ::close(fd);
      }
      continue;
    }
    if (child->fileType != 2 || child->selected != 1) continue;
    ++saveCount;
    saveFile(folder, child, nameForSaving(child));
  }
}

void SaveRun::saveFile(const Folder& folder, Entry* file, const std::string& name) {
  if (file->fileSize == 0) return;  // nothing to write: no file is made
  std::string used = name;
  int fd = -1;
  for (int attempt = 0; attempt < kMaxNameTries && fd < 0; ++attempt) {
    fd = ::openat(folder.fd, used.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kSavedFileMode);
    if (fd < 0 && errno != EEXIST) break;
    if (fd < 0) used = detail::collisionName(used);
  }
  const std::string path = folder.path + "/" + used;
  if (fd < 0) {
    noteFailed(path, formatText("not saved: the file could not be made (%@)", {std::strerror(errno)}));
    return;
  }
  CopyProgress progress;
  CopyOutcome outcome = copyFileData(file, fd, progress);
  if (outcome != CopyOutcome::kAborted) {
    if (file->modDate != 0 && file->isFATEntry == 0) {
      const timespec times[2] = {{0, UTIME_NOW},
                                 {static_cast<time_t>(static_cast<std::int64_t>(file->modDate) - 2082844800), 0}};
      (void)::futimens(fd, times);
    }
    giveToUser(fd);
    if (::fsync(fd) != 0 && outcome != CopyOutcome::kIncomplete) {
      outcome = CopyOutcome::kIncomplete;
      progress.reason = formatText("writing failed: %@", {std::strerror(errno)});
    }
  }
  ::close(fd);
  const std::string written = formatText("%@ of %@ bytes saved", {std::to_string(progress.written),
                                                                   std::to_string(file->fileSize)});
  if (outcome == CopyOutcome::kIncomplete) noteFailed(path, "incomplete, " + written + ": " + progress.reason);
  if (outcome == CopyOutcome::kOverwritten) noteFailed(path, "not its own data, " + written + ": " + progress.reason);
}

void SaveRun::noteFailed(const std::string& path, std::string reason) {
  logLine("Not saved right: " + path + ": " + reason);
  ++failedCount_;
  failures_.push_back({path, std::move(reason)});
}

void SaveRun::countFailedBelow(const Entry* folder, const std::string& path, const std::string& why) {
  std::uint32_t files = 0;
  detail::walkTree(
      const_cast<Entry*>(folder),
      [&](Entry*, Entry* child) {
        if (child->fileType == 2 && child->selected == 1) ++files;
        return child->fileType == 1;
      },
      [](Entry*) {});
  saveCount += files;
  failedCount_ += files;
  if (files == 0) return;
  failures_.push_back({path + "/", formatText("%@ files not saved: %@", {std::to_string(files), why})});
  logLine("Not saved right: " + failures_.back().path + ": " + failures_.back().reason);
}

void SaveRun::giveToUser(int fd) const {
  // Run as root for a user (pkexec or sudo): what we make belongs to that user.
  if (::geteuid() != 0) return;
  const char* uidText = std::getenv("PKEXEC_UID");
  if (uidText == nullptr) uidText = std::getenv("SUDO_UID");
  if (uidText == nullptr) return;
  char* end = nullptr;
  const unsigned long uid = std::strtoul(uidText, &end, 10);
  if (end == uidText || *end != '\0') return;
  gid_t gid = static_cast<gid_t>(-1);
  if (const char* gidText = std::getenv("SUDO_GID"); gidText != nullptr && std::getenv("PKEXEC_UID") == nullptr) {
    gid = static_cast<gid_t>(std::strtoul(gidText, nullptr, 10));
  } else if (const passwd* user = ::getpwuid(static_cast<uid_t>(uid)); user != nullptr) {
    gid = user->pw_gid;
  }
  (void)::fchown(fd, static_cast<uid_t>(uid), gid);
}

}  // namespace nua
