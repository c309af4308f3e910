#include "scan_options.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>

#include "wizard_answers.h"

namespace nua::cli {
namespace {

bool parseRow(const std::optional<std::string>& text, int& row) {
  if (!text) return true;
  if (text->empty() || text->size() > 6 || text->find_first_not_of("0123456789") != std::string::npos) return false;
  row = std::stoi(*text);
  return true;
}

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

std::string absoluteTarget(const std::string& given) {
  std::error_code ignored;
  const std::filesystem::path path(given);
  const std::filesystem::path absolute = std::filesystem::absolute(path, ignored);
  return absolute.empty() ? path.string() : absolute.lexically_normal().string();
}

// The signature answers: which types, over which range, with or without the file system.
std::string readSearchAnswers(const ParsedOptions& options, const std::string& mode, ScanRequest& request) {
  const auto signatures = signaturesNamed(options.value("--signatures").value_or("skip"));
  if (!signatures) return kSignaturesError;
  request.signatures = signatures->choice;
  request.signatureExtensions = signatures->extensions;
  if (const auto range = options.value("--range")) {
    if (!parseRange(*range, request.rangeStart, request.rangeEnd) || !(request.rangeStart < request.rangeEnd))
      return std::string(kRangeError) + ", with START below END";
    if (request.signatures == SignatureChoice::kSkip)
      return "--range limits the signature search, which --signatures skip leaves out";
    // "Raw slider" is never offered to a fast photo recovery.
    if (mode == "photos") return "--mode photos always searches the whole target; --range goes with the other goals";
  }
  if (const auto fileSystem = options.value("--fs-recovery")) {
    bool used = true;
    if (!readChoice(fileSystem, "yes", "no", used)) return kFileSystemError;
    if (request.rowKind != ScanTargetRow::kVolume || mode == "partitions")
      return "--fs-recovery belongs to a volume scanned by --mode files, files-advanced, photos, photos-advanced "
             "or formatted";
    request.fileSystemRecovery = used;
  }
  return {};
}

}  // namespace

ScanCommandOptions parseScanOptions(const std::vector<std::string>& args) {
  ScanCommandOptions parsed;
  parsed.words = parseOptions(args,
                              {"--mode", "--tree-scan", "--signatures", "--partition", "--volume", "--session-out",
                               "--target", "--sector-size", "--range", "--fs-recovery", "--recovery-folder"},
                              {"--list", "--json", "--quiet", "--help", "--verbose", "--progress", "--resume",
                               "--no-recovery-pair"});
  const ParsedOptions& options = parsed.words;
  std::string& error = parsed.error;
  if (options.flag("--help")) return parsed;
  if (!options.error.empty()) return error = options.error, parsed;
  // A resume takes what to scan from the recovery pair; the rest of the command line is not asked.
  if (options.flag("--resume")) {
    if (options.flag("--no-recovery-pair"))
      return error = "--resume reads the recovery pair: no --no-recovery-pair", parsed;
    return parsed;
  }
  if (options.positional.size() != 1) return error = "one TARGET is needed", parsed;
  const std::string mode = options.value("--mode").value_or("partitions");
  const auto scanMode = scanModeNamed(mode);
  if (!scanMode) return error = "--mode takes files, files-advanced, photos, photos-advanced, partitions or formatted", parsed;
  const std::string treeScan = options.value("--tree-scan").value_or(mode == "formatted" ? "advanced" : "standard");
  if (treeScan != "standard" && treeScan != "advanced") return error = kTreeScanError, parsed;
  if (mode != "partitions" && options.value("--tree-scan") && treeScan != (mode == "formatted" ? "advanced" : "standard"))
    return error = "--tree-scan belongs to --mode partitions", parsed;
  if (mode != "partitions" && options.value("--partition"))
    return error = "--partition belongs to --mode partitions", parsed;

  const std::optional<std::string> targetWord = options.value("--target");
  const std::optional<int> targetKind = targetWord ? targetKindNamed(*targetWord) : std::nullopt;
  if (targetWord && !targetKind) return error = "--target takes volume, disk, partition or lost", parsed;
  parsed.lostTarget = targetWord == "lost";
  if (parsed.lostTarget && (mode != "partitions" || options.value("--partition")))
    return error = "--target lost goes with --mode partitions and --volume N", parsed;
  if (targetWord == "partition" && (mode != "partitions" || options.value("--volume")))
    return error = "--target partition goes with --mode partitions and --partition N", parsed;
  if (targetWord == "disk" && (options.value("--volume") || options.value("--partition")))
    return error = "--target disk scans the disk itself: no --volume or --partition", parsed;
  if (targetWord == "volume" && options.value("--partition"))
    return error = "--target volume takes --volume N, not --partition", parsed;
  parsed.sectorSize = options.value("--sector-size").value_or("");
  if (!parsed.sectorSize.empty() && (!parsed.lostTarget || (parsed.sectorSize != "512" && parsed.sectorSize != "4096")))
    return error = "--sector-size takes 512 or 4096, with --target lost", parsed;

  int partitionRow = 0;
  int volumeRow = -1;
  if (!parseRow(options.value("--partition"), partitionRow) || !parseRow(options.value("--volume"), volumeRow))
    return error = "--partition and --volume take a row number from 0", parsed;
  if (options.value("--partition") && options.value("--volume"))
    return error = "give --partition or --volume, not both", parsed;

  ScanRequest& request = parsed.request;
  request.targetPath = absoluteTarget(options.positional.front());
  request.scanMode = *scanMode;
  request.treeScanMode = treeScan == "advanced" ? 1 : 0;
  if (parsed.lostTarget) {
    request.rowKind = ScanTargetRow::kLostVolume;
    request.row = volumeRow < 0 ? 0 : volumeRow;
  } else if (targetWord == "disk") {
    request.rowKind = ScanTargetRow::kWholeDisk;
    request.row = 0;
  } else if (mode == "partitions" && volumeRow < 0 && targetWord != "volume") {
    request.rowKind = ScanTargetRow::kPartition;
    request.row = partitionRow;
  } else {
    request.rowKind = ScanTargetRow::kVolume;
    request.row = volumeRow < 0 ? 0 : volumeRow;
  }
  error = readSearchAnswers(options, mode, request);
  return parsed;
}

std::string matchCatalogExtensions(std::vector<std::string>& extensions,
                                   const std::vector<std::shared_ptr<SigNode>>& catalog) {
  std::string unknown;
  for (std::string& extension : extensions) {
    bool found = false;
    for (const auto& root : catalog) {
      if (!root->children) continue;
      for (const auto& child : *root->children) {
        if (found || !child->sig || lowered(child->sig->extension) != lowered(extension)) continue;
        extension = child->sig->extension;
        found = true;
      }
    }
    if (!found) unknown += (unknown.empty() ? "" : ", ") + extension;
  }
  if (unknown.empty()) return {};
  return "no file type of this goal has the extension " + unknown + " (nua-recover types --mode MODE lists them)";
}

}  // namespace nua::cli
