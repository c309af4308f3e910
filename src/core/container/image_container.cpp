#include "container/image_container.h"

#include <cerrno>

#include "container/ewf_evidence_set.h"
#include "container/raw_file.h"
#include "container/split_raw_set.h"
#include "container/udif_image.h"

namespace nua {

const char* containerKindName(ContainerKind kind) {
  switch (kind) {
    case ContainerKind::kRaw: return "raw";
    case ContainerKind::kSplitRaw: return "split raw";
    case ContainerKind::kEwf: return "E01";
    case ContainerKind::kUdif: return "UDIF";
  }
  return "raw";
}

std::unique_ptr<ImageContainer> openImageContainer(const std::string& path, int& errorNumber, std::string& problem) {
  problem.clear();
  auto file = RawFile::open(path, errorNumber);
  if (!file) return nullptr;
  // Devices are read as they are: only image files can be containers.
  if (file->isBlockDevice()) return file;
  if (hasEwfSignature(path)) {
    file.reset();
    return EwfEvidenceSet::open(path, errorNumber, problem);
  }
  if (hasUdifTrailer(*file)) return UdifImage::open(std::move(file), errorNumber, problem);
  if (auto set = SplitRawSet::open(path, errorNumber, problem)) return set;
  if (!problem.empty()) return nullptr;
  errorNumber = 0;
  return file;
}

}  // namespace nua
