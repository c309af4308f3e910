// `nua-recover scan`: the desktop program's wizard actions driven headless on one target, the scan
// run to its end (or to Ctrl-C), and the tree printed as a list or as JSON Lines.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

#include "app/drive_discovery.h"
#include "app/scan_request.h"
#include "app/scan_run.h"
#include "app/signature_source.h"
#include "app/thread_scan_launcher.h"
#include "app/wizard_controller.h"
#include "base/dict.h"
#include "base/text.h"
#include "cli_options.h"
#include "commands.h"
#include "save_option.h"
#include "tree_output.h"
#include "records/entry_arena.h"

namespace nua::cli {
namespace {

const char* kScanUsage =
    "usage: nua-recover scan TARGET [--mode files|partitions|formatted] [--tree-scan standard|advanced]\n"
    "                        [--signatures skip] [--partition N | --volume N] [--list] [--json] [--quiet]\n"
    "                        [--target lost [--sector-size 512|4096]]\n"
    "                        [--find TEXT] [--save DIR [--select all|deleted|find:TEXT|GLOB...] [--view data|types]\n"
    "                        [--deleted-only]]\n"
    "                        [--session-out FILE.nvs]\n"
    "--find TEXT prints the entries whose names hold TEXT (any case); find:TEXT marks them for --save.\n"
    "TARGET is a disk image or device.\n"
    "--session-out writes the result as a recovery session, to be opened with nua-recover open.\n"
    "--mode files scans volume row N of TARGET (--volume N, default 0) for deleted files.\n"
    "--mode formatted runs the advanced scan of a formatted or reformatted HFS+ volume (--volume N).\n"
    "--mode partitions (the default) scans row N of TARGET's partition list (--partition N, default 0),\n"
    "or the partition holding row N of its volume list (--volume N). A bare volume image is a disk\n"
    "whose one partition starts at sector 0.\n"
    "--target lost first searches the whole of TARGET for lost HFS+ volumes (as find-volumes does) and\n"
    "scans row N of the volumes found (--volume N, default 0).\n";

bool parseRow(const std::optional<std::string>& text, int& row) {
  if (!text) return true;
  if (text->empty() || text->size() > 6 || text->find_first_not_of("0123456789") != std::string::npos) return false;
  row = std::stoi(*text);
  return true;
}

volatile std::sig_atomic_t interrupted = 0;
void onInterrupt(int) { interrupted = 1; }

int usageError(const std::string& message) {
  std::fprintf(stderr, "nua-recover scan: %s\n%s", message.c_str(), kScanUsage);
  return 2;
}

class ProgressPrinter {
 public:
  ProgressPrinter(bool quiet, StderrUiBridge& ui) : quiet_(quiet), terminal_(isatty(2) != 0), ui_(ui) {}
  void show(const ProgressScreen& s, bool force) {
    if (quiet_) return;
    const auto now = std::chrono::steady_clock::now();
    if (!force && now - last_ < (terminal_ ? std::chrono::milliseconds(200) : std::chrono::milliseconds(1000))) return;
    last_ = now;
    int percent = -1;
    if (!s.barIndeterminate && s.barMaxValue > s.barMinValue)
      percent = static_cast<int>(100.0 * (s.barDoubleValue - s.barMinValue) / (s.barMaxValue - s.barMinValue));
    if (percent > 100) percent = 100;
    std::string line;
    if (terminal_) {
      const int filled = percent < 0 ? 0 : percent / 5;
      line = "[" + std::string(static_cast<std::size_t>(filled), '#') +
             std::string(static_cast<std::size_t>(20 - filled), '.') + "] ";
    }
    line += (percent < 0 ? std::string("  -") : std::to_string(percent)) + "% " + s.status;
    line += " | entries " + orDash(s.entriesFound) + ", folders " + orDash(s.folders) + ", files " + orDash(s.files);
    if (!s.timeRemaining.empty()) line += " | left " + s.timeRemaining;
    if (terminal_) {
      std::fprintf(stderr, "\r%-120.120s", line.c_str());
      ui_.atLineStart = false;
    } else {
      std::fprintf(stderr, "%s\n", line.c_str());
    }
  }
  void finish() {
    if (!quiet_ && terminal_ && !ui_.atLineStart) std::fputc('\n', stderr);
    ui_.atLineStart = true;
  }

 private:
  static std::string orDash(const std::string& text) { return text.empty() ? "0" : text; }
  bool quiet_;
  bool terminal_;
  StderrUiBridge& ui_;
  std::chrono::steady_clock::time_point last_{};
};

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
  const ParsedOptions options =
      parseOptions(args, {"--mode", "--tree-scan", "--signatures", "--partition", "--volume", "--session-out", "--target",
                          "--sector-size"},
                   {"--list", "--json", "--quiet", "--help"});
  if (options.flag("--help")) {
    std::fputs(kScanUsage, stdout);
    return 0;
  }
  if (!options.error.empty()) return usageError(options.error);
  if (options.positional.size() != 1) return usageError("one TARGET is needed");
  const std::string mode = options.value("--mode").value_or("partitions");
  if (mode != "partitions" && mode != "files" && mode != "formatted")
    return usageError("--mode takes files, partitions or formatted");
  const std::string treeScan = options.value("--tree-scan").value_or(mode == "formatted" ? "advanced" : "standard");
  if (treeScan != "standard" && treeScan != "advanced") return usageError("--tree-scan takes standard or advanced");
  if (mode != "partitions" && options.value("--tree-scan") && treeScan != (mode == "formatted" ? "advanced" : "standard"))
    return usageError("--tree-scan belongs to --mode partitions");
  if (mode != "partitions" && options.value("--partition")) return usageError("--partition belongs to --mode partitions");
  if (options.value("--signatures").value_or("skip") != "skip") return usageError("--signatures takes skip");
  const bool lostTarget = options.value("--target").has_value();
  if (lostTarget && *options.value("--target") != "lost") return usageError("--target takes lost");
  if (lostTarget && (mode != "partitions" || options.value("--partition")))
    return usageError("--target lost goes with --mode partitions and --volume N");
  const std::string sectorSize = options.value("--sector-size").value_or("");
  if (!sectorSize.empty() && (!lostTarget || (sectorSize != "512" && sectorSize != "4096")))
    return usageError("--sector-size takes 512 or 4096, with --target lost");
  // Kept absolute: a session written by this scan finds its image again from any folder.
  std::error_code ignored;
  const std::filesystem::path given(options.positional.front());
  const std::filesystem::path absolute = std::filesystem::absolute(given, ignored);
  const std::string target = absolute.empty() ? given.string() : absolute.lexically_normal().string();

  int partitionRow = 0;
  int volumeRow = -1;
  if (!parseRow(options.value("--partition"), partitionRow) || !parseRow(options.value("--volume"), volumeRow))
    return usageError("--partition and --volume take a row number from 0");
  if (options.value("--partition") && options.value("--volume"))
    return usageError("give --partition or --volume, not both");

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

  ScanRequest request;
  request.targetPath = target;
  request.scanMode = *scanModeNamed(mode);
  request.treeScanMode = treeScan == "advanced" ? 1 : 0;
  request.signatures = SignatureChoice::kSkip;
  if (lostTarget) {
    request.rowKind = ScanTargetRow::kLostVolume;
    request.row = volumeRow < 0 ? 0 : volumeRow;
  } else if (mode == "partitions" && volumeRow < 0) {
    request.rowKind = ScanTargetRow::kPartition;
    request.row = partitionRow;
  } else {
    request.rowKind = ScanTargetRow::kVolume;
    request.row = volumeRow < 0 ? 0 : volumeRow;
  }

  NullWizardView view;
  StderrUiBridge ui;
  // A quiet scan shows only its errors; its completion note still ends the printed result.
  ui.quiet = options.flag("--quiet");
  ThreadScanLauncher launcher(ui, nullptr);
  launcher.setEntry(ScanEntry::kStartMakingTree, startMakingTree);
  launcher.setEntry(ScanEntry::kScanForDeletedFiles, scanForDeletedFiles);
  sources.loadSigData = signatureCatalogSource(ui);
  WizardController controller(view, ui, launcher, sources);
  controller.mainThread().adoptCurrentThread();
  ProgressPrinter printer(options.flag("--quiet"), ui);
  controller.progressChanged = [&] { printer.show(controller.progressScreen(), false); };

  std::signal(SIGINT, onInterrupt);
  if (lostTarget) {
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
  const ScanRequestResult started = controller.runScanRequest(request);
  if (!started.error.empty()) {
    std::fprintf(stderr, "nua-recover scan: %s\n", started.error.c_str());
    return 1;
  }
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
