// `nua-recover plan`: the wizard's decision run headless, printed as JSON or readable lines.
#include <cstdio>
#include <iostream>
#include <map>

#include "app/wizard_plan.h"
#include "base/dict.h"
#include "cli_options.h"
#include "commands.h"

namespace nua::cli {
namespace {

const char* kPlanUsage =
    "usage: nua-recover plan --mode files|files-advanced|photos|photos-advanced|partitions|formatted\n"
    "                        --target volume|disk|partition|lost [--content Apple_HFS|FAT32|...]\n"
    "                        [--fs-recovery yes|no] [--signatures next|skip] [--tree-scan standard|advanced]\n"
    "                        [--raw-box on|off] [--range START-END] [--json]\n";

int usageError(const std::string& message) {
  std::fprintf(stderr, "nua-recover plan: %s\n%s", message.c_str(), kPlanUsage);
  return 2;
}

bool parseRange(const std::string& text, float& start, float& end) {
  const auto dash = text.find('-');
  if (dash == std::string::npos) return false;
  try {
    std::size_t used = 0;
    start = std::stof(text.substr(0, dash), &used);
    if (used != dash) return false;
    const std::string tail = text.substr(dash + 1);
    end = std::stof(tail, &used);
    if (used != tail.size()) return false;
  } catch (...) {
    return false;
  }
  return start >= 0.0f && start <= 100.0f && end >= 0.0f && end <= 100.0f;
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

  static const std::map<std::string, int> kModes{{"files", 0},      {"files-advanced", 1}, {"photos", 2},
                                                 {"photos-advanced", 3}, {"partitions", 4}, {"formatted", 5}};
  static const std::map<std::string, int> kTargets{{"volume", 2}, {"disk", 3}, {"partition", 0}, {"lost", 1}};
  WizardPlanRequest request;
  const auto mode = options.value("--mode");
  const auto target = options.value("--target");
  if (!mode || !kModes.count(*mode)) return usageError("--mode is required and must be one of the six modes");
  if (!target || !kTargets.count(*target)) return usageError("--target is required: volume, disk, partition or lost");
  request.scanMode = kModes.at(*mode);
  request.volumeScanType = kTargets.at(*target);
  if (auto content = options.value("--content")) request.content = *content;

  auto yesNo = [&](const char* name, const char* yes, const char* no, bool& out) {
    if (auto v = options.value(name)) {
      if (*v == yes) out = true;
      else if (*v == no) out = false;
      else return false;
    }
    return true;
  };
  bool advanced = false;
  if (!yesNo("--fs-recovery", "yes", "no", request.fileSystemRecovery)) return usageError("--fs-recovery takes yes or no");
  if (!yesNo("--signatures", "next", "skip", request.signaturesNext)) return usageError("--signatures takes next or skip");
  if (!yesNo("--tree-scan", "advanced", "standard", advanced)) return usageError("--tree-scan takes standard or advanced");
  request.advancedTreeScan = advanced;
  // A range only matters on "Raw slider", which the raw-search box opens: asking for one asks for the box.
  if (auto range = options.value("--range")) {
    if (!parseRange(*range, request.rangeStart, request.rangeEnd))
      return usageError("--range takes START-END in percent, e.g. 10-90");
    request.rawBox = true;
  }
  if (!yesNo("--raw-box", "on", "off", request.rawBox)) return usageError("--raw-box takes on or off");

  const WizardPlanResult result = runWizardPlan(request);
  if (options.flag("--json")) {
    std::cout << toJson(result.toDict()) << "\n";
  } else {
    std::string screens;
    for (const std::string& s : result.screens) screens += (screens.empty() ? "" : ", ") + s;
    std::cout << "screens: " << (screens.empty() ? "(none)" : screens) << "\n";
    std::cout << "rawSearchMode: " << result.rawSearchMode << "\n";
    std::cout << "entry: " << result.entry << "\n";
    std::string argText;
    for (const DictValue& v : result.args)
      argText += (argText.empty() ? "" : ", ") + (v.isString() ? v.toString() : toJson(v));
    std::cout << "args: " << argText << "\n";
    for (const Alert& a : result.alerts) std::cout << "alert: " << a.title << ": " << a.text << "\n";
    for (const std::string& n : result.notes) std::cout << "note: " << n << "\n";
  }
  return result.scanStarts() ? 0 : 1;
}

}  // namespace nua::cli
