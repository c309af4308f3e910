// SaveRun: one run of writing the marked entries of the view on screen into a folder the user chose,
// from the question before it to the final alert. The folder shape follows the view: the data view
// gives the volume's folders under "Root", the file types view one folder per extension.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "base/ui_bridge.h"
#include "media/dmedia.h"
#include "tree/new_dir.h"
#include "view/destination_check.h"
#include "view/tree_view_state.h"

namespace nua {

// Where a run reports while it works: the front end's sheet, or standard error on the command line.
class SaveProgressSink {
 public:
  virtual ~SaveProgressSink() = default;
  // The bytes written so far, at most about once a second; never called with 0.
  virtual void updateTreeProgress(std::uint64_t savedData) = 0;
  // Time since the run started, as days:hours:minutes:seconds, once a second.
  virtual void elapsedTime(const std::string& text) = 0;
};

// "Saved: %.2f KB" (up to 999999 bytes), "Saved: %.2f MB" (up to 999999999), else "Saved: %.2f GB".
[[nodiscard]] std::string savedDataText(std::uint64_t savedData);

struct SaveReport {
  bool started = false;  // false when the native file system question was answered with Cancel
  bool aborted = false;
  std::uint32_t saveCount = 0;   // marked files handled, also those of size 0 (which write nothing)
  std::uint32_t savedFiles = 0;  // handled without a failure
  std::uint32_t failedCount = 0;  // files that could not be written fully
  std::vector<std::string> failedFiles;  // paths below the chosen folder that could not be written fully
  Alert finalAlert;
};

class SaveRun {
 public:
  // source is read only through readSaveSector; view gives the tree on screen and the marks.
  SaveRun(DMedia& source, TreeViewState& view, UiBridge& ui);

  void setProgressSink(SaveProgressSink* sink) { sink_ = sink; }
  // Replaces the sysfs lookup of what a block device stands on (tests use made-up identities).
  void setBlockParents(BlockParents parents) { blockParents_ = std::move(parents); }
  void setSourceIdentity(const SourceIdentity& identity) { sourceIdentity_ = identity; }

  // The save button: closes a visible preview, then asks whether to go on; true for "Yes".
  [[nodiscard]] bool saveData(bool previewVisible);
  // The chosen folder: free space, writable, file system type and the source device. Shows the
  // refusal and returns false, or sets canSaveSlashes and returns true.
  [[nodiscard]] bool checkDestination(const std::string& path);
  // The run itself, on a worker: the native file system question (when canSaveSlashes is 0), the walk
  // from dirRootTemp, the elapsed-time clock, and the final alert, whose answer it waits for.
  SaveReport saveFilesAndFolders(const std::string& path);
  // Writes dir (when marked for saving) as a folder under path, with its marked files and folders.
  void saveDir(NewDir* dir, const std::string& path);
  // The stop button of the saving sheet; safe from any thread.
  void abortDataSaving() { abortSaving = true; }

  std::atomic<bool> abortSaving{false};
  std::atomic<bool> showSavingProgress{false};
  std::atomic<std::uint64_t> savedData{0};
  std::uint8_t canSaveSlashes = 1;
  std::uint32_t saveCount = 0;

 private:
  struct Folder;
  enum class CopyOutcome { kDone, kFailed, kAborted };

  [[nodiscard]] std::string nameForSaving(const NewDir* dir) const;
  void saveFolderTree(int baseFd, NewDir* top, const std::string& basePath);
  void saveFilesOf(const Folder& folder);
  void saveFile(const Folder& folder, NewDir* file, const std::string& name);
  [[nodiscard]] CopyOutcome copyFileData(NewDir* file, int fd);
  [[nodiscard]] CopyOutcome readAndWrite(const NewDir* file, std::uint64_t block, std::uint32_t blocks,
                                         std::int64_t writeLength, int fd, std::vector<std::byte>& buffer);
  void noteFailed(const std::string& path);
  void countFailedBelow(const NewDir* folder, const std::string& path);
  void giveToUser(int fd) const;

  DMedia& source_;
  TreeViewState& view_;
  UiBridge& ui_;
  SaveProgressSink* sink_ = nullptr;
  SourceIdentity sourceIdentity_;
  BlockParents blockParents_ = blockParentsFromSysfs;
  std::vector<std::string> failedFiles_;
  std::uint32_t failedCount_ = 0;
};

}  // namespace nua
