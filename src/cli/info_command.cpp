// `nua-recover info`: what a device or image is, before any scan.
#include <cstdio>
#include <iostream>

#include "base/dict.h"
#include "base/text.h"
#include "cli_options.h"
#include "commands.h"
#include "app/target_description.h"

namespace nua::cli {

int infoCommand(const std::vector<std::string>& args) {
  const ParsedOptions options = parseOptions(args, {"--sector-size"}, {"--json", "--verify"});
  if (!options.error.empty() || options.positional.size() != 1) {
    std::fprintf(stderr, "nua-recover info: %s\nusage: nua-recover info TARGET [--sector-size N] [--verify] [--json]\n",
                 options.error.empty() ? "one TARGET is needed" : options.error.c_str());
    return 2;
  }
  std::uint32_t sectorSize = 0;
  if (auto v = options.value("--sector-size")) {
    if (*v != "512" && *v != "4096") {
      std::fprintf(stderr, "nua-recover info: --sector-size takes 512 or 4096\n");
      return 2;
    }
    sectorSize = static_cast<std::uint32_t>(std::stoul(*v));
  }
  Dict d = describeScanTarget(options.positional.front(), sectorSize);
  if (options.flag("--verify") && !d.has("Error")) {
    const Dict check = verifyScanTargetDigest(options.positional.front());
    d.set("MD5 Check", check.string("MD5 Check"));
    if (check.has("Computed MD5")) d.set("Computed MD5", check.string("Computed MD5"));
  }
  if (options.flag("--json")) {
    std::cout << toJson(d) << "\n";
  } else if (d.has("Error")) {
    std::cout << d.string("Path") << ": cannot be read: " << d.string("Error") << "\n";
  } else {
    std::cout << "Path: " << d.string("Path") << "\n"
              << "Type: " << (d.boolean("Block Device") ? "block device" : "disk image") << "\n"
              << "Size: " << sizeText(d.uint64("Size")) << " (" << d.uint64("Size") << " bytes)\n"
              << "Sector size: " << d.uint64("Preferred Block Size") << "\n"
              << "Layout: " << d.string("Layout") << "\n"
              << "Container: " << d.string("Container") << "\n";
    for (const char* key : {"Case Number", "Examiner Name", "Acquiry Date", "Stored MD5", "MD5 Check"})
      if (d.has(key)) std::cout << key << ": " << d.string(key) << "\n";
  }
  return d.has("Error") ? 1 : 0;
}

}  // namespace nua::cli
