// Kodak KDC/K25 image end.
#include "filecheck/kodak_ifd_end.h"

namespace nua {

std::optional<std::uint64_t> kodakImageEnd(FileWindow& window, const TiffIfd& firstIfd, bool bigEndian) {
  const TiffIfdEntry* subfileType = firstIfd.find(kTiffTagNewSubfileType);
  const auto subfileValue =
      subfileType != nullptr ? tiffValue(window, *subfileType, bigEndian, 0, kTiffValueLimit) : std::nullopt;
  if (subfileValue && *subfileValue == 0) {
    return tiffDataEnd(window, firstIfd, bigEndian, kTiffValueLimit, true, true);
  }
  const TiffIfdEntry* subIfdTag = firstIfd.find(kTiffTagSubIfds);
  if (subIfdTag == nullptr) return std::uint64_t{0};
  if (subIfdTag->count > 25) return std::nullopt;
  const auto offset = tiffValue(window, *subIfdTag, bigEndian, 0, kTiffValueLimit);
  if (!offset || *offset < 8 || *offset > kTiffValueLimit) return std::nullopt;
  const auto subIfd = readTiffIfd(window, *offset, bigEndian);
  if (!subIfd) return std::nullopt;
  return tiffDataEnd(window, *subIfd, bigEndian, kTiffValueLimit, true, true);
}

}  // namespace nua
