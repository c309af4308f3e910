// `nua-recover find-volumes`: the search of a whole disk or image for lost HFS+ volumes. Each find is
// printed as it is made, the list of volumes offered for a scan at the end.
#include <csignal>
#include <cstdio>
#include <iostream>

#include "app/drive_cell_text.h"
#include "app/drive_discovery.h"
#include "app/lost_volume_search.h"
#include "base/dict.h"
#include "cli_options.h"
#include "commands.h"

namespace nua::cli {

namespace {

const char* kFindVolumesUsage =
    "usage: nua-recover find-volumes TARGET [--sector-size 512|4096] [--json]\n"
    "Reads the whole of TARGET for HFS+ volume headers, judges each volume by its catalog and lists\n"
    "the volumes found. Scan one with: nua-recover scan TARGET --target lost --volume N.\n";

std::atomic<bool>* abortFlag = nullptr;
void onInterrupt(int) {
  if (abortFlag != nullptr) abortFlag->store(true);
}

// Prints each row of the found-volume table as the search reports it.
class FindPrinter final : public VolumeSearchSink {
 public:
  explicit FindPrinter(bool json) : json_(json) {}
  void report(const VolumeSearchProgress& update) override {
    if (!update.foundRow) return;
    const Dict& row = *update.foundRow;
    if (json_) {
      std::cout << toJson(Dict{{"Volumes Found", row}}) << std::endl;
    } else {
      const DictValue* column = row.find("Validity Column");
      const DictArray* validity = column != nullptr ? column->array() : nullptr;
      const std::string word = validity != nullptr && validity->size() > 1 ? (*validity)[1].toString() : "";
      std::cout << row.string("Found Column") << "  validity " << validityColumnText(row) << " " << word << std::endl;
    }
  }
  [[nodiscard]] bool sweepOfferPending() const override { return false; }
  void offerSweepPosition(const VolumeSearchProgress&) override {}

 private:
  bool json_;
};

}  // namespace

int findVolumesCommand(const std::vector<std::string>& args) {
  const ParsedOptions options = parseOptions(args, {"--sector-size"}, {"--json", "--help"});
  if (options.flag("--help")) {
    std::fputs(kFindVolumesUsage, stdout);
    return 0;
  }
  if (!options.error.empty() || options.positional.size() != 1) {
    std::fprintf(stderr, "nua-recover find-volumes: %s\n%s",
                 options.error.empty() ? "one TARGET is needed" : options.error.c_str(), kFindVolumesUsage);
    return 2;
  }
  std::string error;
  Dict disk = scanTargetDict(options.positional.front(), -1, -1, error);
  if (!error.empty()) {
    std::fprintf(stderr, "nua-recover find-volumes: %s\n", error.c_str());
    return 1;
  }
  if (const auto size = options.value("--sector-size")) {
    if (*size != "512" && *size != "4096") {
      std::fprintf(stderr, "nua-recover find-volumes: --sector-size takes 512 or 4096\n");
      return 2;
    }
    disk.set("Preferred Block Size", std::stoi(*size));
  }
  LostVolumeSearch search(disk);
  FindPrinter printer(options.flag("--json"));
  abortFlag = &search.stopFlag();
  std::signal(SIGINT, onInterrupt);
  const std::vector<PartitionRow> foundVolumes = search.run(printer);
  std::signal(SIGINT, SIG_DFL);
  abortFlag = nullptr;

  if (options.flag("--json")) {
    std::cout << toJson(Dict{{"PT scan list", toDictArray(foundVolumes)}}) << "\n";
    return 0;
  }
  std::cout << "PT scan list of " << disk.string("Path") << " (" << foundVolumes.size() << ")\n";
  const std::uint64_t sectorBytes = search.sectorBytes();
  for (std::size_t i = 0; i < foundVolumes.size(); ++i) {
    const PartitionRow& volume = foundVolumes[i];
    const std::uint64_t sectors = volume.sizeInSectors;
    const std::uint64_t percent = volume.volumeValidity.value_or(0);
    const auto validity = static_cast<double>(percent);
    std::cout << "[" << i << "] " << volume.volumeName << "\n"
              << "    Start Sector: " << volume.volumeStart << "\n"
              << "    " << sizeLine(sectors * sectorBytes) << " (" << sectors << " sectors)\n"
              << "    Volume Validity: " << percent << "% ("
              << validityHalfStars(validity) << " half stars, \"" << validityRatingImage(validity) << "\")\n";
    if (const std::uint64_t alternate = volume.alternateHeaderSector.value_or(0); alternate != 0)
      std::cout << "    Found by its alternate header at sector " << alternate << "\n";
  }
  return 0;
}

}  // namespace nua::cli
