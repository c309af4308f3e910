// The photo and media file checks through their list, every format selected: the input is a device
// whose sector 1 holds a candidate file; its first 25 bytes are the header the list is asked about.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "filecheck/file_check_list.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::uint32_t kSector = 512;
  std::vector<std::byte> device(kSector + (size + kSector - 1) / kSector * kSector + kSector);
  std::copy_n(reinterpret_cast<const std::byte*>(data), size, device.begin() + kSector);
  std::vector<std::byte> header(device.begin() + kSector, device.begin() + kSector + 25);
  nua::MemorySectorSource source(std::move(device), kSector);
  nua::FileCheckScanState state;
  state.bytesInSector = kSector;
  const auto& words = nua::FileCheckList::formatWordsInOrder();
  const std::set<std::string> all(words.begin(), words.end());
  nua::FileCheckList list = nua::FileCheckList::build(all, source, state);
  (void)list.run(header, 1);
  state.clearPerStepFlags();
  return 0;
}
