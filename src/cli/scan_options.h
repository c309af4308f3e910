// The options of `nua-recover scan`, read into the wizard request they answer and checked before
// anything is opened, so that a mistyped word ends the command with its usage and exit code 2.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/scan_request.h"
#include "cli_options.h"
#include "app/signature_source.h"  // SigNode

namespace nua::cli {

struct ScanCommandOptions {
  ParsedOptions words;
  ScanRequest request;  // targetPath absolute, so a session written by the scan finds its image again
  bool lostTarget = false;
  std::string sectorSize;  // "512" or "4096" with --target lost; empty otherwise
  std::string error;       // a usage error; empty when the options hold together
};

// Reads `args` (the save options already taken out). With --help nothing else is checked.
[[nodiscard]] ScanCommandOptions parseScanOptions(const std::vector<std::string>& args);

// Puts each extension of a --signatures list into the catalog's own spelling (any case matches).
// Returns an error naming every extension the catalog lacks, or empty.
[[nodiscard]] std::string matchCatalogExtensions(std::vector<std::string>& extensions,
                                                 const std::vector<std::shared_ptr<SigNode>>& catalog);

}  // namespace nua::cli
