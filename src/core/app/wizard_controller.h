// The application controller: owns the wizard state and turns the user's choices (goal, mode,
// target, file types, range) into one scan thread with one argument array. Toolkit-free: screens
// are shown through WizardView, alerts through UiBridge, scans start through ScanLauncher. Its
// collaborators do the work of navigation, of running a scan and of sessions on the state kept here;
// runScanRequest is the one typed entry for a scan.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "app/media_sources.h"
#include "app/recovery_pair_keeper.h"
#include "app/lifecycle_decisions.h"
#include "app/main_thread_queue.h"
#include "app/repeating_timer.h"
#include "app/scan_decision.h"
#include "app/scan_launcher.h"
#include "app/scan_progress.h"
#include "app/scan_request.h"
#include "app/scan_runner.h"
#include "app/search_guard.h"
#include "app/volume_scan_progress.h"
#include "app/scan_run.h"
#include "app/session_actions.h"
#include "app/session_screen.h"
#include "app/signature_screen.h"
#include "app/wizard_navigation.h"
#include "app/wizard_view.h"
#include "base/dict.h"
#include "base/ui_bridge.h"
#include "lostvolume/lost_volume_scan.h"
#include "session/recovery_pair_reader.h"
#include "media/device_lists.h"
#include "signature/sig_node.h"
#include "volume/volume.h"

namespace nua {

class MediaReader;
class Volume;

// NOLINTNEXTLINE(readability-identifier-naming): the controller's name
class WizardController : public ScanRunSink, public VolumeSearchRunSink {
 public:
  WizardController(WizardView& view, UiBridge& ui, ScanLauncher& launcher, MediaSources sources);
  ~WizardController() override;

  // ---- Scan run and progress. Scans call these from their thread; each is carried out on the main
  // thread, through mainThread(), which the front end's loop must keep running. ----
  void report(const ScanProgress& progress) override;
  [[nodiscard]] bool tickPending() const override { return tickPending_; }
  void offerForTick(const ScanProgress& progress) override;
  void alert(const Alert& alert) override { runAlertPanel(alert); }
  // Shows the alert from any thread and waits for it.
  void runAlertPanel(const Alert& alert);
  void abandonScan() override;
  // The tick runs for one scan or search at a time; stopping it drops what was offered and not shown.
  void startTicks() override;
  void stopTicks() override;
  void complete(const ScanProgress& last) override;
  // The timer's tick: shows the update the scan offered, if it offered one since the last tick.
  void myTimerFireMethod();
  // Stop button: shows the abort question; the scan goes on meanwhile.
  void stopTreeThread() { runner_.stopTreeThread(); }
  // The question's answers.
  void abortTreeThread() { runner_.abortTreeThread(); }
  void dontAbortTreeThread() { runner_.dontAbortTreeThread(); }
  // Shows the finished tree, its total and the completion note. A scan that ended without a tree
  // leaves "Progress" for the list its volume came from.
  void showTree() { runner_.showTree(); }
  // A scan's thread is over (from the launcher, on that thread). One that sent no completion of its
  // own, because its stage is missing or failed, is ended here as one without a tree.
  void scanThreadEnded(std::uint64_t scanNumber, bool volumeScan) { runner_.scanThreadEnded(scanNumber, volumeScan); }
  // Ends the result on a thread of its own; `rebuildDriveList` loads the drive list again after.
  void freeTree(bool rebuildDriveList) { runner_.freeTree(rebuildDriveList); }
  void releaseSelectedVolume() { runner_.releaseSelectedVolume(); }
  // Waits for a freeTree thread, if one runs.
  void joinFreeTree() { runner_.joinFreeTree(); }

  [[nodiscard]] MainThreadQueue& mainThread() { return mainThread_; }
  [[nodiscard]] const ProgressScreen& progressScreen() const { return progressScreen_; }
  // Called on the main thread after each change of the progress screen.
  std::function<void()> progressChanged;
  [[nodiscard]] bool abortSheetVisible() const { return abortSheetVisible_; }
  [[nodiscard]] bool timerValid() const { return timer_.valid(); }
  // The note shown when the tree came up ("title: text"), empty when none was.
  [[nodiscard]] const std::string& completionNote() const { return completionNote_; }
  Entry* dirRootTemp = nullptr;
  std::atomic<bool> stopElapsedTimeThread{false};
  bool openedScanInfo = false;
  std::string fileTypesToggleTitle = "File Types View";
  std::string showDeletedToggleTitle = "Show Deleted";

  // Goal buttons of "Main Screen".
  void recoverFiles();
  void recoverPhotos();
  void recoverPartitionAndDrives();
  // Mode handlers: scanMode 0 to 5.
  void recoverFilesFast();
  void recoverFilesAdvanced();
  void recoverPhotosFast();
  void recoverPhotosAdvanced();
  void recoverPartitionAndDrivesFast();
  void recoverPartitionAndDrivesAdvanced();

  // Drive list.
  void runSheetForDrivesLoading();
  void refreshDrivesList();
  // Rows of the drive table for the current scanMode (mode 3: each disk followed by its volumes).
  [[nodiscard]] std::vector<DriveRow> drivesListRows() const;
  void selectDrivesListRow(int row) { navigation_.selectDrivesListRow(row); }  // -1 clears the selection
  void nextButtonInDrivesListTabClicked();
  void prepareForScan();

  // Partition list and lost-volume list.
  void selectPTListRow(int row) { navigation_.selectPTListRow(row); }
  void checkBoxForScanForVolumesClicked(bool on) { navigation_.checkBoxForScanForVolumesClicked(on); }
  void ptListNextClicked();
  void volumeFromPTIsSelected();
  // ---- The lost-volume search (wizard_controller_lost_volumes.cpp). ----
  // Starts the search of the selected disk and shows "PT scan prog".
  void startVolumeScan();
  void report(const VolumeSearchProgress& progress) override;
  [[nodiscard]] bool sweepOfferPending() const override { return sweepOfferPending_; }
  void offerSweepPosition(const VolumeSearchProgress& progress) override;
  void searchComplete(std::vector<PartitionRow> foundVolumes) override;
  [[nodiscard]] const VolumeScanScreen& volumeScanScreen() const { return volumeScanScreen_; }
  // Called on the main thread after each change of volumeScanScreen().
  std::function<void()> volumeScanChanged;
  // The lost-volume scan has ended with these volumes: fill and show "PT scan list".
  void showPTScanList(std::vector<PartitionRow> foundVolumes);
  void selectPTScanListRow(int row) { navigation_.selectPTScanListRow(row); }
  void ptScanListNextClicked();

  // Tree scan mode and signatures.
  void treeScanModeStdScanClicked();
  void treeScanModeAdvScanClicked();
  void prepareForSignatureSearch();
  void loadSigData();
  void deselectAllSig();
  void selectAllSig();
  void setRawSearchBox(bool on);
  void sigSelNextClicked();
  void skipButtonSigTabClicked();

  // ---- The typed front door (wizard_controller_request.cpp). ----
  // Starts the scan the wizard's clicks would start for these answers, without showing the screens
  // between; the caller serves mainThread() until scanIsRunning clears. A lost-volume row needs
  // startLostVolumeSearch first.
  [[nodiscard]] ScanRequestResult runScanRequest(const ScanRequest& request);
  // Partition recovery's search of the whole disk at `targetPath` for lost volumes; its rows are
  // partitionScanListDictArray once scanIsRunning clears. An error when the disk is not listed.
  [[nodiscard]] std::string startLostVolumeSearch(const std::string& targetPath);

  // Range and start.
  void setSliderValues(float start, float end);
  void rawSliderChanged();
  void setTextFieldRawSizeDrvVol();
  // `resume` stands for the string-typed sender of a crashed-scan resume.
  void rawSliderNextClicked(bool resume = false) { runner_.rawSliderNextClicked(resume); }

  // ---- Ways back, home, Next gating on "Signatures", quitting and the window's size rules. ----
  void backToMainScreenFromFileRecoveryTab() { navigation_.backToMainScreenFromFileRecoveryTab(); }
  void backToMainScreenFromPhotoRecoveryTab() { navigation_.backToMainScreenFromPhotoRecoveryTab(); }
  void backToMainScreenFromPartitionRecoveryTab() { navigation_.backToMainScreenFromPartitionRecoveryTab(); }
  void backButtonInDrivesListTabClicked() { navigation_.backButtonInDrivesListTabClicked(); }
  void ptListBackClicked() { navigation_.ptListBackClicked(); }
  void ptScanListBackClicked() { navigation_.ptScanListBackClicked(); }
  void treeScanModeBackClicked() { navigation_.treeScanModeBackClicked(); }
  void sigSelBackToVolumesClicked() { navigation_.sigSelBackToVolumesClicked(); }
  void rawSliderBackToSigSelClicked() { navigation_.rawSliderBackToSigSelClicked(); }
  // The home button of any screen; the one on "Tree" warns first and may be cancelled.
  void gotoHome() { navigation_.gotoHome(); }
  void treeBackButtonClicked() { navigation_.treeBackButtonClicked(); }
  // The user toggled the mark of a category or file type in the outline of "Signatures".
  void setSigMark(SigNode& node, bool on) { navigation_.setSigMark(node, on); }
  // The File menu's Quit: refused while a scan or a session or save job runs.
  void terminateApplication();
  // Closing the main window takes the same decisions; true lets it close (closing is quitting).
  [[nodiscard]] bool windowShouldClose();
  // 0 stay, 1 quit, 2 quit once the session being saved is written.
  [[nodiscard]] int promptForScanInfoSaving();
  // Closes a visible preview and ends the program at once.
  void terminateApp();
  using WindowSize = nua::WindowSize;
  // The size the window had when it was first shown; the front end sets it.
  WindowSize initialWindowSize;
  [[nodiscard]] WindowSize windowWillResize(WindowSize proposed) const;
  [[nodiscard]] bool windowShouldZoom() const;
  // Starts a session write for the quit question's "Yes"; the front end plugs in the session code.
  std::function<void()> saveScanInfoForQuit;
  // Whether the shown result is kept in a session file; read by the quit question.
  std::function<bool()> scanInfoSavedForQuit;
  // Cleared while a session is written or read, or files are saved: quitting and marks wait for it.
  std::atomic<bool> scanInfoOrSavingNotProcessing{true};

  // ---- Crash recovery (wizard_controller_auto_recovery.cpp). ----
  // Where the crash-recovery pair of each signature search is kept; null keeps none. The front end
  // chooses the folder and keeps the location alive.
  void setRecoveryPairLocation(RecoveryPairLocation* location) { recoveryPair_.setLocation(location); }
  // Writes the pair before a search (on the scan thread); a pair that can't be written is told to the
  // user and the search runs without it.
  SignatureSearchRecovery signatureSearchStarting(Volume& volume) override;
  void signatureSearchCleanUp() override { recoveryPair_.cleanUp(); }
  // Watches each search once its pair stands (the watchdog); null watches none. The front end keeps it.
  void setSearchGuard(SearchGuard* guard) { searchGuard_.store(guard); }
  // Run on the main thread, not waited for, once a search's pair is written and guarded.
  std::function<void()> bringMainWindowToFront;
  // Whether a folder lies on the device `volume` reads from, so that the pair is not written there.
  // By default the system's device layout is asked; tests put in their own.
  std::function<bool(Volume& volume, const std::string& folder)> folderOnSearchedDevice;

  // Reads the pair at the location and resumes its search. Empty when the search started; otherwise
  // why nothing was resumed, and a pair that failed to decode or names no search has been removed.
  [[nodiscard]] std::string openScanInfoAutoRecoveryAndScan();
  // The same in two steps, so that the reading can run on a worker thread and the wizard be
  // replayed on the main thread: the pair read, or why there is nothing to resume.
  struct AutoRecoveryRead {
    std::optional<RecoveryPairData> data;
    std::string error;
  };
  [[nodiscard]] AutoRecoveryRead readAutoRecovery();
  // On the main thread: installs what was read and starts the search; empty, or the read's error.
  [[nodiscard]] std::string resumeAutoRecovery(AutoRecoveryRead read);
  // Installs what was read: the volume with its tree and known files, the modes, lists and extensions.
  void installAutoRecovery(RecoveryPairData data);
  // Replays the wizard without showing it and starts the search from autoRecBeginSize.
  void scanAutoRecovery();
  // The MP3 and MPEG done lists a resumed search starts with.
  std::vector<std::uint64_t> autoRecMp3DoneArray, autoRecMpgDoneArray;

  // ---- Recovery sessions: saving the result and opening it again (SessionActions). ----
  [[nodiscard]] static std::string suggestedScanInfoFileName() { return SessionActions::suggestedScanInfoFileName(); }
  void save(const std::string& path) { session_.save(path); }
  [[nodiscard]] bool open() { return session_.open(); }
  void open(const std::string& path) { session_.open(path); }
  void openScanInfoFile(const std::string& path) { session_.openScanInfoFile(path); }
  void joinScanInfoThread() { session_.joinScanInfoThread(); }
  [[nodiscard]] bool scanInfoSaved() const { return session_.scanInfoSaved(); }
  [[nodiscard]] const SessionScreen& sessionScreen() const { return session_.sessionScreen(); }
  // Called on the main thread after each change of sessionScreen().
  std::function<void()> sessionScreenChanged;
  std::uint32_t scanInfoEntryCount = 0;
  std::vector<std::byte> first5Sectors;
  bool driveNotConnected = false;
  bool volumeNotConnected = false;
  bool foundDrivePathIsDifferent = false;
  std::int32_t foundDriveDictArrayIndex = -1;
  std::int32_t foundVolumeDictArrayIndex = -1;
  // ---- End of recovery sessions. ----

  // The collaborators: navigation (lists, Next buttons, ways back), the scan runner and the session actions.
  [[nodiscard]] WizardNavigation& navigation() { return navigation_; }
  [[nodiscard]] ScanRunner& scanRunner() { return runner_; }
  [[nodiscard]] SessionActions& sessionActions() { return session_; }
  // The rest of "Signatures": find, "Load File Types", sizes, custom file types, counts.
  [[nodiscard]] SignatureScreen& signatureScreen() { return signatures_; }

  // Wizard state, named as everywhere in the program.
  std::int32_t scanMode = -1;
  std::int32_t treeScanMode = -1;
  std::int32_t rawSearchMode = 0;
  std::int32_t isPTListOrPTScanListChosen = -1;
  std::int32_t displayDrvOrVolOrBoth = -1;
  DriveRow selectedDriveRow;
  std::shared_ptr<MediaReader> selectedDrive;
  std::shared_ptr<Volume> selectedVolume;
  std::vector<PartitionRow> partitionListDictArray;
  std::vector<PartitionRow> partitionScanListDictArray;
  std::vector<std::shared_ptr<SigNode>> sigRootArray;
  SigSelArray sigSelArray;
  std::vector<std::string> autoRecSigExtArray;
  std::uint64_t autoRecBeginSize = 0;
  std::string mainScanStatus;
  std::chrono::system_clock::time_point scanStartDate;
  std::int32_t sigDataLoadCount = 0;

  // Process-wide flags.
  std::atomic<bool> autoStartAfterRawCrash{false};
  std::atomic<bool> scanIsRunning{false};

  // The lists as last built; readers on any thread consult the published snapshot.
  DriveListing drives;
  DeviceListStore& deviceListStore() { return deviceLists_; }
  [[nodiscard]] UiBridge& ui() { return ui_; }

  // Controls whose state the wizard reads back.
  [[nodiscard]] bool rawSearchBoxOn() const { return rawSearchBox_.checked; }
  [[nodiscard]] bool rawSearchBoxEnabled() const { return rawSearchBox_.enabled; }
  [[nodiscard]] bool skipEnabled() const { return skipEnabled_; }
  [[nodiscard]] bool scanForVolumesBoxOn() const { return scanForVolumesBox_; }
  [[nodiscard]] float startSliderValue() const { return startSlider_; }
  [[nodiscard]] float endSliderValue() const { return endSlider_; }

 private:
  // The collaborators work on the wizard state kept here.
  friend class WizardNavigation;
  friend class ScanRunner;
  friend class SessionActions;
  friend class SignatureScreen;
  struct CheckBox {
    bool checked = false;
    bool enabled = true;
    bool hidden = false;
  };
  void enterMode(std::int32_t mode);
  void showModeScreen(const char* identifier);
  void setSkipEnabled(bool enabled);
  void updateSliderTexts();
  void gatherSigSelArray();
  [[nodiscard]] bool sigSkipped() const { return sigRootArray.empty(); }
  [[nodiscard]] std::string displayName() const;
  [[nodiscard]] std::string drivesListHeading() const;
  [[nodiscard]] float sliderValue(bool start) const { return start ? startSlider_ : endSlider_; }
  // Builds the drive and volume lists anew.
  void loadDriveLists();
  // selectedDrive from selectedDrvOrVolDict, and its partitions completed from that disk's row.
  void readPartitionListOfSelectedDrive();
  // The steps of a ScanRequest: its volume from the lists, then the file types and the start.
  [[nodiscard]] ScanRequestResult selectRequestVolume(const ScanRequest& request, bool& signatureScreenShown,
                                                      bool& skipOffered);
  [[nodiscard]] ScanRequestResult startRequestedScan(const ScanRequest& request, bool signatureScreenShown,
                                                     bool skipOffered);
  // Carries out what Next or Skip on "Signatures" leads to.
  void takeSignatureStep(const SignatureStep& step);
  void showAlert(const std::string& title, const std::string& text);

  WizardView& view_;
  UiBridge& ui_;
  WizardNavigation navigation_{*this};
  ScanRunner runner_{*this};
  ScanLauncher& launcher_;
  MediaSources sources_;
  DeviceListStore deviceLists_;
  int drivesListSelection_ = -1;
  int ptListSelection_ = -1;
  int ptScanListSelection_ = -1;
  bool zeroTableViewDrivesList_ = false;
  bool skipEnabled_ = true;
  CheckBox rawSearchBox_;
  bool scanForVolumesBox_ = false;
  float startSlider_ = 0.0f;
  float endSlider_ = 100.0f;

  void updateProgressOnMain(const ScanProgress& update);
  // The way back after a scan that left no tree: the list the volume came from, the result freed.
  void backToListWithoutTree() { runner_.backToListWithoutTree(); }
  void updateVolumeScanProgressOnMain(const VolumeSearchProgress& update);
  // The timer's tick for the search; false when it had nothing to hand over.
  bool handOverVolumeScanUpdate();
  // What a partition row gets from its disk's dictionary, added to each found volume.
  void completePTScanListEntries(std::vector<PartitionRow>& foundVolumes) const;
  VolumeScanScreen volumeScanScreen_;
  MainThreadQueue mainThread_;
  RepeatingTimer timer_;
  // The update a scan offered for the next tick; tickPending_ is set while it waits.
  std::mutex tickMutex_;
  std::optional<ScanProgress> tickUpdate_;
  std::atomic<bool> tickPending_{false};
  // The same for the lost-volume search's sweep.
  std::optional<VolumeSearchProgress> sweepPosition_;
  std::atomic<bool> sweepOfferPending_{false};
  ProgressScreen progressScreen_;
  bool abortSheetVisible_ = false;
  std::string completionNote_;
  // The quit question's wait for a session write: polls until the result is saved, then quits.
  void watchSaveScanInfo();
  // The quit and close rules in one place: stay, go now, or go once the session being saved is written.
  QuitDecision decideQuit();
  RepeatingTimer watchSaveScanInfoTimer_;
  bool quitRequested_ = false;
  RecoveryPairKeeper recoveryPair_;
  std::atomic<SearchGuard*> searchGuard_{nullptr};
  // Selects the rows of the loaded catalog whose extensions the pair names.
  void selectAutoRecoveryExtensions();
  SessionActions session_{*this};  // after mainThread_: its worker is joined first
  SignatureScreen signatures_{*this, ui_};
};

}  // namespace nua
