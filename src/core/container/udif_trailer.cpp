#include "container/udif_trailer.h"

#include "base/bytes.h"

namespace nua {

std::variant<UdifTrailer, UdifProblem> parseUdifTrailer(std::span<const std::byte> bytes) {
  if (bytes.size() < kUdifTrailerSize) return UdifProblem{"UDIF trailer: " + std::to_string(bytes.size()) + " bytes, not 512"};
  if (be32(bytes, 0) != kUdifTrailerSignature) return UdifProblem{"UDIF trailer: no \"koly\" signature"};
  if (be32(bytes, 8) != kUdifTrailerSize)
    return UdifProblem{"UDIF trailer: headerSize " + std::to_string(be32(bytes, 8)) + " at 0x8, not 512"};
  UdifTrailer t;
  t.version = be32(bytes, 4);
  t.dataForkOffset = be64(bytes, 24);
  t.dataForkLength = be64(bytes, 32);
  t.segmentNumber = be32(bytes, 56);
  t.segmentCount = be32(bytes, 60);
  t.xmlOffset = be64(bytes, 216);
  t.xmlLength = be64(bytes, 224);
  t.sectorCount = be64(bytes, 492);
  return t;
}

}  // namespace nua
