// `nua-recover plan`: the wizard's decision run headless, printed as JSON or readable lines.
#include <cstdio>
#include <iostream>

#include "app/wizard_plan.h"
#include "base/dict.h"
#include "cli_options.h"
#include "commands.h"
#include "wizard_answers.h"

namespace nua::cli {
namespace {

const char* kPlanUsage =
    "usage: nua-recover plan --mode files|files-advanced|photos|photos-advanced|partitions|formatted\n"
    "                        --target volume|disk|partition|lost [--content Apple_HFS|FAT32|...]\n"
    "                        [--fs-recovery yes|no] [--signatures all|EXT,EXT...|skip] [--tree-scan standard|advanced]\n"
    "                        [--raw-box on|off] [--range START-END] [--json]\n"
    "--signatures next is the same as all: Next on \"Signatures\" with every type marked.\n";

int usageError(const std::string& message) {
  std::fprintf(stderr, "nua-recover plan: %s\n%s", message.c_str(), kPlanUsage);
  return 2;
}

}  // namespace

int planCommand(const std::vector<std::string>& args) {
  const ParsedOptions options = parseOptions(
      args, {"--mode", "--target", "--content", "--fs-recovery", "--signatures", "--tree-scan", "--raw-box", "--range"},
      {"--json", "--help"});
  if (options.flag("--help")) {
    std::fputs(kPlanUsage, stdout);
    return 0;
  }
  if (!options.error.empty()) return usageError(options.error);
  if (!options.positional.empty()) return usageError("unexpected argument " + options.positional.front());

  WizardPlanRequest request;
  const auto mode = options.value("--mode");
  const auto target = options.value("--target");
  const auto scanMode = mode ? scanModeNamed(*mode) : std::nullopt;
  const auto targetKind = target ? targetKindNamed(*target) : std::nullopt;
  if (!scanMode) return usageError("--mode is required and must be one of the six modes");
  if (!targetKind) return usageError("--target is required: volume, disk, partition or lost");
  request.scanMode = *scanMode;
  request.volumeScanType = *targetKind;
  if (auto content = options.value("--content")) request.content = *content;

  bool advanced = false;
  if (!readChoice(options.value("--fs-recovery"), "yes", "no", request.fileSystemRecovery))
    return usageError(kFileSystemError);
  if (const auto signatures = options.value("--signatures")) {
    // The plan's stand-in catalog marks what it has: which types are asked for doesn't change the plan.
    const auto answer = signaturesNamed(*signatures);
    if (!answer) return usageError(kSignaturesError);
    request.signaturesNext = answer->choice != SignatureChoice::kSkip;
  }
  if (!readChoice(options.value("--tree-scan"), "advanced", "standard", advanced)) return usageError(kTreeScanError);
  request.advancedTreeScan = advanced;
  // A range only matters on "Raw slider", which the raw-search box opens: asking for one asks for the box.
  if (auto range = options.value("--range")) {
    if (!parseRange(*range, request.rangeStart, request.rangeEnd)) return usageError(kRangeError);
    request.rawBox = true;
  }
  if (!readChoice(options.value("--raw-box"), "on", "off", request.rawBox)) return usageError("--raw-box takes on or off");

  const WizardPlanResult result = runWizardPlan(request);
  if (options.flag("--json")) {
    std::cout << toJson(result.toDict()) << "\n";
  } else {
    std::string screens;
    for (const std::string& s : result.screens) screens += (screens.empty() ? "" : ", ") + s;
    std::cout << "screens: " << (screens.empty() ? "(none)" : screens) << "\n";
    std::cout << "rawSearchMode: " << result.rawSearchMode << "\n";
    std::cout << "entry: " << result.entry << "\n";
    std::cout << "args: " << argumentsText(result.args) << "\n";
    for (const Alert& a : result.alerts) std::cout << "alert: " << a.title << ": " << a.text << "\n";
    for (const std::string& n : result.notes) std::cout << "note: " << n << "\n";
  }
  return result.scanStarts() ? 0 : 1;
}

}  // namespace nua::cli
