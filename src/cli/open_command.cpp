// `nua-recover open`: a recovery session file opened as the desktop program opens it, its tree printed
// as after a scan, and saving from it, which reads the drive or image again.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "app/drive_discovery.h"
#include "app/session_file_name.h"
#include "app/wizard_controller.h"
#include "app/thread_scan_launcher.h"
#include "cli_options.h"
#include "commands.h"
#include "save_option.h"
#include "tree_output.h"

namespace nua::cli {
namespace {

const char* kOpenUsage =
    "usage: nua-recover open FILE.nvs [--list] [--json] [--quiet]\n"
    "                        [--find TEXT] [--save DIR [--select all|deleted|find:TEXT|GLOB...] [--view data|types]\n"
    "                        [--deleted-only]]\n"
    "--find TEXT prints the entries whose names hold TEXT (any case); find:TEXT marks them for --save.\n"
    "Opens a recovery session written by the desktop program or by nua-recover scan --session-out, without\n"
    "scanning. The drive or image it came from is found again by its first sectors; saving reads it.\n";

int usageError(const std::string& message) {
  std::fprintf(stderr, "nua-recover open: %s\n%s", message.c_str(), kOpenUsage);
  return 2;
}

// A session opens from "Main Screen" only; a headless run starts there.
class HeadlessView : public NullWizardView {
 public:
  void showTab(const std::string& identifier) override { tab = identifier; }
  [[nodiscard]] std::string selectedTabIdentifier() const override { return tab; }
  std::string tab = "Main Screen";
};

}  // namespace

int openCommand(const std::vector<std::string>& allArgs, const TreeAction& treeAction) {
  SaveOptions save;
  const std::vector<std::string> args = takeSaveOptions(allArgs, save);
  if (!save.error.empty()) return usageError(save.error);
  const ParsedOptions options = parseOptions(args, {}, {"--list", "--json", "--quiet", "--help"});
  if (options.flag("--help")) {
    std::fputs(kOpenUsage, stdout);
    return 0;
  }
  if (!options.error.empty()) return usageError(options.error);
  if (options.positional.size() != 1) return usageError("one FILE.nvs is needed");
  const std::string path = options.positional.front();
  if (!isSessionFileName(path))
    return usageError(path + " is not a recovery session file (.nvs)");

  HeadlessView view;
  StderrUiBridge ui;
  ThreadScanLauncher launcher(ui, nullptr);
  WizardController controller(view, ui, launcher, discoveryMediaSources({}));
  controller.mainThread().adoptCurrentThread();
  if (!controller.open()) return 1;
  controller.open(path);
  controller.joinScanInfoThread();
  controller.mainThread().runPending();

  const std::shared_ptr<Volume> volume = controller.selectedVolume;
  if (!volume || volume->dirRoot == nullptr) return 1;
  if (treeAction) return treeAction(*volume);
  printTree(volume->dirRoot, *volume, {options.flag("--json"), options.flag("--list"),
                                       controller.progressScreen().treeTotal, {}});
  printFindHits(*volume, save);
  if (!save.requested) return 0;
  if (controller.driveNotConnected || controller.volumeNotConnected) {
    std::printf("Nothing saved: the drive or volume of this session is not there.\n");
    return 1;
  }
  return saveAfterScan(*volume, save, ui, options.flag("--quiet"));
}

}  // namespace nua::cli
