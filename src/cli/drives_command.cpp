// `nua-recover drives`: the drive list and the volume list as the wizard shows them, with any disk
// images named on the command line among them.
#include <cstdio>
#include <iostream>

#include "app/drive_cell_text.h"
#include "app/drive_discovery.h"
#include "base/dict.h"
#include "commands.h"

namespace nua::cli {
namespace {

void printRows(const char* heading, const std::vector<DriveRow>& rows) {
  std::cout << heading << " (" << rows.size() << ")\n";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const auto lines = logicalDriveCellLines(rows[i]);
    std::cout << "[" << i << "] " << lines[0] << "\n";
    for (std::size_t k = 1; k < lines.size(); ++k) std::cout << "    " << lines[k] << "\n";
  }
}

}  // namespace

int drivesCommand(const std::vector<std::string>& args) {
  DiscoveryOptions options;
  bool json = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--json") {
      json = true;
    } else if (args[i] == "--image" && i + 1 < args.size()) {
      options.images.push_back(args[++i]);
    } else if (args[i].rfind("--image=", 0) == 0) {
      options.images.push_back(args[i].substr(8));
    } else if (args[i] == "--root" && i + 1 < args.size()) {
      options.systemRoot = args[++i];
    } else {
      std::fprintf(stderr, "nua-recover drives: unknown option '%s'\nusage: nua-recover drives [--image PATH]... [--json]\n",
                   args[i].c_str());
      return 2;
    }
  }
  const DriveListing listing = discoverDrives(options);
  if (json) {
    std::cout << toJson(Dict{{"driveDictArray", toDictArray(listing.driveDictArray)},
                             {"volumeDictArray", toDictArray(listing.volumeDictArray)}})
              << "\n";
    return 0;
  }
  printRows("Drives", listing.driveDictArray);
  std::cout << "\n";
  printRows("Volumes", listing.volumeDictArray);
  return 0;
}

}  // namespace nua::cli
