// SaveRun: one run of writing the marked entries of the view on screen into a folder the user chose,
// from the question before it to the final alert. The folder shape follows the view: the data view
// gives the volume's folders under "Root", the file types view one folder per extension.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/ui_bridge.h"
#include "media/media_reader.h"
#include "records/entry.h"
#include "save/destination_check.h"
#include "view/tree_view_state.h"

namespace nua {

namespace detail {
class LiveDataMap;
}

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

// One file (or a folder with every marked file in it) that was not saved right.
struct SaveFailure {
  std::string path;    // below the chosen folder; a folder's ends with "/"
  std::string reason;  // "incomplete, 4096 of 10000 bytes saved: the source ends at sector 8192"
};

struct SaveReport {
  bool started = false;  // false when the file system question was answered with Cancel
  bool aborted = false;
  std::uint32_t saveCount = 0;   // marked files handled, also those of size 0 (which write nothing)
  std::uint32_t savedFiles = 0;  // written whole with their own bytes
  std::uint32_t failedCount = 0;  // files written short, with bytes that are not theirs, or not at all
  std::vector<SaveFailure> failures;
  Alert finalAlert;
};

class SaveRun {
 public:
  // source is read only through readSaveSector; view gives the tree on screen and the marks.
  SaveRun(MediaReader& source, TreeViewState& view, UiBridge& ui);
  ~SaveRun();
  SaveRun(const SaveRun&) = delete;
  SaveRun& operator=(const SaveRun&) = delete;

  void setProgressSink(SaveProgressSink* sink) { sink_ = sink; }
  // Replaces the sysfs and mount table lookup of what a device stands on (tests use made-up layouts).
  void setStorageLookup(StorageLookup lookup) { storageLookup_ = std::move(lookup); }
  void setSourceIdentity(const SourceIdentity& identity) { sourceIdentity_ = identity; }
  // Replaces the probe of the chosen folder (tests stand in for file systems they cannot mount).
  void setDestinationProbe(std::function<DestinationFacts(const std::string&)> probe) { probe_ = std::move(probe); }

  // The save button: closes a visible preview, then asks whether to go on; true for "Yes".
  [[nodiscard]] bool saveData(bool previewVisible);
  // The chosen folder: free space, writable, file system type and the source. Shows the refusal and
  // returns false, or sets canSaveSlashes and whether the run asks about the file system, and returns
  // true.
  [[nodiscard]] bool checkDestination(const std::string& path);
  // Whether saveFilesAndFolders first asks about the destination's file system (FAT, exFAT, NTFS).
  [[nodiscard]] bool asksAboutFileSystem() const { return !limitedFileSystem_.empty(); }
  // The run itself, on a worker: the file system question (when asked for), the walk from
  // dirRootTemp, the elapsed-time clock, and the final alert, whose answer it waits for.
  SaveReport saveFilesAndFolders(const std::string& path);
  // Writes dir (when marked for saving) as a folder under path, with its marked files and folders.
  void saveDir(Entry* dir, const std::string& path);
  // The stop button of the saving sheet; safe from any thread.
  void abortDataSaving() { abortSaving = true; }

  std::atomic<bool> abortSaving{false};
  std::atomic<bool> showSavingProgress{false};
  std::atomic<std::uint64_t> savedData{0};
  std::uint8_t canSaveSlashes = 1;
  std::uint32_t saveCount = 0;

 private:
  struct Folder;
  // kOverwritten: written to its size, but with clusters that a live file has taken over since.
  enum class CopyOutcome { kDone, kIncomplete, kOverwritten, kAborted };
  struct CopyProgress {
    std::uint64_t written = 0;  // bytes of the file written so far
    std::uint64_t leadingBytesToSkip = 0;  // of the next read: where the file starts in its first sector
    std::string reason;         // why the copy is not right, when it is not
  };

  [[nodiscard]] std::string nameForSaving(const Entry* dir) const;
  void saveFolderTree(int baseFd, Entry* top, const std::string& basePath);
  void saveFilesOf(const Folder& folder);
  void saveFile(const Folder& folder, Entry* file, const std::string& name);
  [[nodiscard]] CopyOutcome copyFileData(Entry* file, int fd, CopyProgress& progress);
  // Reads `blocks` blocks at `block` (no more sectors than the rest of the file needs) and writes them,
  // never past the file's size.
  [[nodiscard]] CopyOutcome readAndWrite(const Entry* file, std::uint64_t block, std::uint32_t blocks, int fd,
                                         std::vector<std::byte>& buffer, CopyProgress& progress);
  [[nodiscard]] CopyOutcome checkNotOverwritten(const Entry* file, CopyProgress& progress);
  void noteFailed(const std::string& path, std::string reason);
  void countFailedBelow(const Entry* folder, const std::string& path, const std::string& why);
  void giveToUser(int fd) const;

  MediaReader& source_;
  TreeViewState& view_;
  UiBridge& ui_;
  SaveProgressSink* sink_ = nullptr;
  SourceIdentity sourceIdentity_;
  StorageLookup storageLookup_ = storageBelowFromSystem;
  std::function<DestinationFacts(const std::string&)> probe_ = probeDestination;
  std::string limitedFileSystem_;
  std::unique_ptr<detail::LiveDataMap> liveData_;  // made when the first deleted FAT file is saved
  std::vector<SaveFailure> failures_;
  std::uint32_t failedCount_ = 0;
};

}  // namespace nua
