#include "session/session_file.h"

#include <algorithm>

#include "archive/keyed_archive.h"
#include "base/bytes.h"

namespace nua {

int partitionBlobCount(std::int32_t rawSearchMode, std::int32_t isPTListOrPTScanListChosen) {
  if (rawSearchMode != 4 && rawSearchMode != 5) return 0;
  if (isPTListOrPTScanListChosen == 0) return 1;
  if (isPTListOrPTScanListChosen == 1) return 2;
  return 0;
}

std::vector<std::byte> archivedBlob(const KeyedValue& value) {
  const std::vector<std::byte> archive = writeKeyedArchive({kSessionArchiveContentVersion, value});
  std::vector<std::byte> blob(4 + archive.size());
  putBe32(blob, 0, static_cast<std::uint32_t>(archive.size()));
  std::copy(archive.begin(), archive.end(), blob.begin() + 4);
  return blob;
}

}  // namespace nua
