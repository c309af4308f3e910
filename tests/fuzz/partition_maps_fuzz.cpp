// A whole small image as a disk: the MBR with its extended chain, GPT, the Apple partition map or a
// bare volume, every partition listed, and the HFS+ partitions named from their catalogs.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_image.h"
#include "media/partition_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::fuzz::MemoryImage image(data, size);
  if (!image.ok() || image.sectors() < 1) return 0;
  for (const int sectorSize : {512, 4096}) {
    nua::MediaReader media;
    media.initWithDictionary(nua::Dict{{"Path", image.path()}, {"Preferred Block Size", sectorSize},
                                       {"Size", static_cast<std::uint64_t>(size)}},
                             nua::MediaContext{});
    std::vector<nua::PartitionRow> rows;
    nua::PartitionReader(media).initialize(rows);
    nua::MediaReader again;
    again.initWithDictionary(nua::Dict{{"Path", image.path()}, {"Preferred Block Size", sectorSize},
                                       {"Size", static_cast<std::uint64_t>(size)}},
                             nua::MediaContext{});
    (void)nua::PartitionReader(again).listAllPartitions();
  }
  return 0;
}
