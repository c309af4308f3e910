// `nua-recover partitions`: the partition list of a disk or image, the rows partition recovery offers.
#include <cstdio>
#include <iostream>

#include "app/drive_cell_text.h"
#include "app/drive_discovery.h"
#include "app/target_description.h"
#include "base/dict.h"
#include "cli_options.h"
#include "commands.h"

namespace nua::cli {

int partitionsCommand(const std::vector<std::string>& args) {
  const ParsedOptions options = parseOptions(args, {}, {"--json"});
  if (!options.error.empty() || options.positional.size() != 1) {
    std::fprintf(stderr, "nua-recover partitions: %s\nusage: nua-recover partitions TARGET [--json]\n",
                 options.error.empty() ? "one TARGET is needed" : options.error.c_str());
    return 2;
  }
  std::string error;
  const Dict disk = scanTargetDict(options.positional.front(), -1, -1, error);
  if (!error.empty()) {
    std::fprintf(stderr, "nua-recover partitions: %s\n", error.c_str());
    return 1;
  }
  const PartitionList list = readPartitionList(disk);
  const std::vector<PartitionRow>& rows = list.rows;
  // Which GPT header the list comes from, so a damaged primary is never passed over in silence.
  const std::string& gptHeader = list.gptHeaderUsed;
  if (options.flag("--json")) {
    Dict out{{"PT list", toDictArray(rows)}};
    if (!gptHeader.empty()) out.set("GPT Header", gptHeader);
    std::cout << toJson(out) << "\n";
    return 0;
  }
  std::cout << "PT list of " << disk.string("Path") << " (" << rows.size() << ")\n";
  if (!gptHeader.empty()) std::cout << "GPT header: " << gptHeader << "\n";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::uint64_t bytes = rows[i].sizeInSectors * disk.uint64("Preferred Block Size");
    std::cout << "[" << i << "] " << rows[i].volumeName << "\n"
              << "    Start Sector: " << rows[i].volumeStart << "\n"
              << "    " << sizeLine(bytes) << " (" << rows[i].sizeInSectors << " sectors)\n"
              << "    Content: " << rows[i].content << "\n";
  }
  return 0;
}

}  // namespace nua::cli
