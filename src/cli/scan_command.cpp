// `nua-recover scan`: the desktop program's wizard actions driven headless on one target, the scan
// run to its end (or to Ctrl-C), and the tree printed as a list or as JSON Lines.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <optional>
#include <sstream>
#include <variant>
#include <vector>

#include "app/drive_discovery.h"
#include "app/scan_request.h"
#include "app/scan_run.h"
#include "app/signature_source.h"
#include "app/thread_scan_launcher.h"
#include "app/wizard_controller.h"
#include "app/wizard_plan.h"
#include "base/dict.h"
#include "base/text.h"
#include "cli_options.h"
#include "commands.h"
#include "progress_printer.h"
#include "save_option.h"
#include "scan_options.h"
#include "tree_output.h"
#include "wizard_answers.h"
#include "records/entry_arena.h"
#include "session/recovery_pair_location.h"

namespace nua::cli {
namespace {

const char* kScanUsage =
    "usage: nua-recover scan TARGET [--mode files|files-advanced|photos|photos-advanced|partitions|formatted]\n"
    "                        [--target volume|disk|partition|lost] [--partition N | --volume N]\n"
    "                        [--tree-scan standard|advanced] [--signatures all|EXT,EXT...|skip]\n"
    "                        [--fs-recovery yes|no] [--range START-END] [--sector-size 512|4096]\n"
    "                        [--list] [--json] [--quiet] [--progress] [--verbose]\n"
    "                        [--find TEXT] [--save DIR [--select all|deleted|find:TEXT|GLOB...] [--view data|types]\n"
    "                        [--deleted-only]]\n"
    "                        [--session-out FILE.nvs] [--no-recovery-pair | --recovery-folder DIR] [--resume]\n"
    "--find TEXT prints the entries whose names hold TEXT (any case); find:TEXT marks them for --save.\n"
    "TARGET is a disk image or device.\n"
    "--session-out writes the result as a recovery session, to be opened with nua-recover open.\n"
    "--mode files scans volume row N of TARGET (--volume N, default 0) for deleted files;\n"
    "files-advanced, photos and photos-advanced add a signature search, as nua-recover plan shows.\n"
    "--mode formatted runs the advanced scan of a formatted or reformatted HFS+ volume (--volume N).\n"
    "--mode partitions (the default) scans row N of TARGET's partition list (--partition N, default 0),\n"
    "or the partition holding row N of its volume list (--volume N). A bare volume image is a disk\n"
    "whose one partition starts at sector 0.\n"
    "--target disk searches the whole of TARGET (--mode photos-advanced).\n"
    "--target lost first searches the whole of TARGET for lost HFS+ volumes (as find-volumes does) and\n"
    "scans row N of the volumes found (--volume N, default 0).\n"
    "--signatures answers \"Signatures\": skip (the default), all file types of the goal, or those with\n"
    "the extensions listed (nua-recover types --mode MODE lists them).\n"
    "--fs-recovery no searches the volume by signatures alone, as for a volume whose file system can't\n"
    "be used; the default is what the volume supports.\n"
    "--range START-END limits the signature search to that part of the target, in percent (0-100).\n"
    "--progress draws the progress bar on standard error even when it is no terminal (a line each time);\n"
    "on a terminal the bar is drawn unless --quiet or --json.\n"
    "--verbose prints the scan that starts (entry, arguments, range) as nua-recover plan names it.\n"
    "A signature search keeps its state in $XDG_STATE_HOME/nua-recovery/ (~/.local/state/nua-recovery/,\n"
    "/var/lib/nua-recovery/ as root) until it ends, so that a search killed midway can be resumed;\n"
    "--no-recovery-pair keeps nothing there; --recovery-folder DIR keeps it in DIR instead.\n"
    "--resume (or nua-recover resume) continues the search killed midway from that state; no TARGET\n"
    "or other scan option is needed, and the tree is printed and saved as after any scan.\n";

volatile std::sig_atomic_t interrupted = 0;
void onInterrupt(int) { interrupted = 1; }

int usageError(const std::string& message) {
  std::fprintf(stderr, "nua-recover scan: %s\n%s", message.c_str(), kScanUsage);
  return 2;
}

// What a scan was started with: the thread entry, its arguments as a plan shows them, and the
// volume's range.
struct StartedScan {
  std::string entry;
  DictArray arguments;
  std::vector<std::string> signatureExtensions;
  float startPos = 0.0f, endPos = 100.0f;
  std::string target;
};

std::string percentText(float value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

// Runs scans as the desktop program does, and keeps what the last one was started with.
class RecordingScanLauncher final : public ThreadScanLauncher {
 public:
  explicit RecordingScanLauncher(UiBridge& ui) : ThreadScanLauncher(ui, nullptr) {}
  void detach(ScanEntry entry, std::shared_ptr<Volume> volume, ScanArguments arguments) override {
    StartedScan scan;
    scan.entry = scanEntryName(entry);
    scan.arguments = plannedArguments(arguments);
    for (const ScanArgument& argument : arguments)
      if (const auto* signatures = std::get_if<SigSelArray>(&argument))
        for (const auto& node : *signatures)
          if (node && node->sig) scan.signatureExtensions.push_back(node->sig->extension);
    if (volume) {
      scan.startPos = volume->startPos;
      scan.endPos = volume->endPos;
      scan.target = volume->volumeScanType == 3 ? "disk " + volume->path
                                                : "volume \"" + volume->volumeName + "\" (" + volume->volumeContent +
                                                      ") from sector " + std::to_string(volume->startSector);
      scan.target += ", " + std::to_string(volume->sizeInSect) + " sectors of " +
                     std::to_string(volume->u32BytesInSector) + " bytes";
    }
    started = std::move(scan);
    ThreadScanLauncher::detach(entry, std::move(volume), std::move(arguments));
  }
  std::optional<StartedScan> started;
};

// --verbose: the scan that started, in the words of `nua-recover plan` where they are the same.
void printStartedScan(const StartedScan& scan) {
  std::fprintf(stderr, "target: %s\n", scan.target.c_str());
  std::fprintf(stderr, "entry: %s\n", scan.entry.c_str());
  std::fprintf(stderr, "args: %s\n", argumentsText(scan.arguments).c_str());
  std::string extensions;
  for (const std::string& extension : scan.signatureExtensions) extensions += (extensions.empty() ? "" : ", ") + extension;
  if (!scan.signatureExtensions.empty()) std::fprintf(stderr, "signatures: %s\n", extensions.c_str());
  std::fprintf(stderr, "range: %s-%s\n", percentText(scan.startPos).c_str(), percentText(scan.endPos).c_str());
}

// Serves the main thread until the controller's scan or search has ended; Ctrl-C asks it to stop.
void waitForScan(WizardController& controller) {
  bool abortAsked = false;
  while (controller.scanIsRunning) {
    controller.mainThread().runFor(std::chrono::milliseconds(100));
    if (interrupted && !abortAsked) {
      abortAsked = true;
      controller.stopTreeThread();
      controller.abortTreeThread();
    }
  }
}

}  // namespace

int scanCommand(const std::vector<std::string>& allArgs, const TreeAction& treeAction) {
  // Saving after the scan: its options are read apart (see save_option.h).
  SaveOptions save;
  const std::vector<std::string> args = takeSaveOptions(allArgs, save);
  if (!save.error.empty()) return usageError(save.error);
  ScanCommandOptions parsed = parseScanOptions(args);
  const ParsedOptions& options = parsed.words;
  if (options.flag("--help")) {
    std::fputs(kScanUsage, stdout);
    return 0;
  }
  if (!parsed.error.empty()) return usageError(parsed.error);
  const bool resume = options.flag("--resume");
  ScanRequest& request = parsed.request;
  const std::string& target = request.targetPath;
  const std::string& sectorSize = parsed.sectorSize;

  // The lists the desktop program would show with TARGET added as a disk image.
  DiscoveryOptions discovery;
  discovery.images = {target};
  MediaSources sources = discoveryMediaSources(discovery);
  if (!sectorSize.empty()) {
    // A disk without a map doesn't tell its sector size; the user does.
    sources.initialDriveList = [list = sources.initialDriveList, target, sectorSize] {
      DriveListing found = list();
      for (DriveRow& drive : found.driveDictArray)
        if (drive.path == target) drive.sectorSizeBytes = static_cast<std::uint64_t>(std::stoi(sectorSize));
      return found;
    };
  }

  NullWizardView view;
  StderrUiBridge ui;
  // A quiet scan shows only its errors; its completion note still ends the printed result.
  ui.quiet = options.flag("--quiet");
  sources.loadSigData = signatureCatalogSource(ui);
  if (!resume && request.signatures == SignatureChoice::kList) {
    const std::string unknown = matchCatalogExtensions(request.signatureExtensions, sources.loadSigData(request.scanMode));
    if (!unknown.empty()) return usageError(unknown);
  }
  RecordingScanLauncher launcher(ui);
  launcher.setEntry(ScanEntry::kStartMakingTree, startMakingTree);
  launcher.setEntry(ScanEntry::kScanForDeletedFiles, scanForDeletedFiles);
  launcher.setEntry(ScanEntry::kScanForDeletedFilesDisk, scanForDeletedFilesDisk);
  WizardController controller(view, ui, launcher, sources);
  controller.mainThread().adoptCurrentThread();
  const bool terminal = isatty(STDERR_FILENO) != 0;
  ProgressPrinter printer(
      progressStyleFor(terminal, options.flag("--quiet"), options.flag("--json"), options.flag("--progress")),
      terminal, ui);
  controller.progressChanged = [&] { printer.show(controller.progressScreen(), false); };

  // Before each search the controller checks that the folder is not on the device searched.
  const std::optional<std::string> chosenFolder = options.value("--recovery-folder");
  StateFolderLocation pairFolder =
      chosenFolder ? StateFolderLocation(*chosenFolder) : StateFolderLocation::forThisProcess();
  if (resume || !options.flag("--no-recovery-pair")) controller.setRecoveryPairLocation(&pairFolder);

  std::signal(SIGINT, onInterrupt);
  if (resume) {
    const std::string error = controller.openScanInfoAutoRecoveryAndScan();
    if (!error.empty()) {
      std::fprintf(stderr, "nua-recover resume: %s\n", error.c_str());
      return 1;
    }
  } else if (parsed.lostTarget) {
    const std::string error = controller.startLostVolumeSearch(target);
    if (!error.empty()) {
      std::fprintf(stderr, "nua-recover scan: %s\n", error.c_str());
      return 1;
    }
    waitForScan(controller);
    // The search's last sends (the timer's end) wait for the main thread.
    while (launcher.running()) controller.mainThread().runFor(std::chrono::milliseconds(20));
    launcher.join();
    controller.mainThread().runPending();
  }
  if (!resume) {
    const ScanRequestResult started = controller.runScanRequest(request);
    if (!started.error.empty()) {
      std::fprintf(stderr, "nua-recover scan: %s\n", started.error.c_str());
      return 1;
    }
  }
  if (options.flag("--verbose") && launcher.started) printStartedScan(*launcher.started);
  const std::shared_ptr<Volume> volume = controller.selectedVolume;
  waitForScan(controller);
  launcher.join();
  controller.mainThread().runPending();
  printer.show(controller.progressScreen(), true);
  printer.finish();
  std::signal(SIGINT, SIG_DFL);

  const Entry* root = volume ? volume->dirRoot : nullptr;
  if (root == nullptr) return 1;
  // The session is written before anything is printed or saved, as the desktop program offers it
  // as soon as the tree is shown.
  if (const auto sessionOut = options.value("--session-out")) {
    ui.quiet = false;  // where the session file went is the answer to --session-out
    controller.save(*sessionOut);
    controller.joinScanInfoThread();
    if (!controller.scanInfoSaved()) return 1;
    ui.quiet = options.flag("--quiet");
  }
  if (treeAction) return treeAction(*volume);
  printTree(root, *volume,
            {options.flag("--json"), options.flag("--list"), controller.progressScreen().treeTotal,
             controller.completionNote()});
  printFindHits(*volume, save);
  // Saving after the scan, through the tree screen's logic.
  if (save.requested) return saveAfterScan(*volume, save, ui, options.flag("--quiet"));
  return 0;
}

}  // namespace nua::cli
