#include "media/source_probe.h"

#include <cstring>
#include <vector>

#include "base/bytes.h"
#include "container/ewf_evidence_set.h"
#include "container/media_digest.h"
#include "media/device_file.h"
#include "media/fat_boot_peek.h"
#include "media/image_geometry.h"
#include "ondisk/volume_information_block.h"

namespace nua {
namespace {

bool hasText(ByteSpan bytes, std::size_t offset, const char* text) {
  const std::size_t length = std::strlen(text);
  if (!fits(bytes.size(), offset, length)) return false;
  return std::memcmp(bytes.data() + offset, text, length) == 0;
}

std::string layoutOf(ByteSpan head, std::uint32_t sectorSize, const ByteReader& read) {
  // A partition map is checked before a bare file system: a GPT disk also carries a boot signature.
  if (hasText(head, sectorSize, "EFI PART")) return "GPT";
  if (hasText(head, 0, "ER") && hasText(head, 512, "PM")) return "Apple partition map";
  if (hasText(head, 0, "ER") && hasText(head, sectorSize, "PM")) return "Apple partition map";
  if (fits(head.size(), 1024, 2)) {
    const std::uint16_t signature = be16(head, 1024);
    if (signature == kSignatureHPlus) return "HFS+";
    if (signature == kSignatureHX) return "HFSX";
    if (signature == kSignatureBD) return "HFS wrapper";
  }
  const bool bootSignature = fits(head.size(), 510, 2) && u8(head, 510) == 0x55 && u8(head, 511) == 0xAA;
  // The backup boot sector tells an exFAT volume whose main one is damaged.
  if (isExfatBootSector(head)) return "exFAT";
  if (bootSignature && (hasText(head, 54, "FAT") || hasText(head, 82, "FAT32"))) return "FAT";
  if (beginsWithFatVolume(head, read)) return "FAT";
  if (bootSignature) return "MBR";
  return "unknown";
}

}  // namespace

Dict describeSource(const std::string& path, std::uint32_t sectorSizeOverride) {
  Dict d{{"Path", path}};
  int errorNumber = 0;
  std::string problem;
  auto file = DeviceFile::open(path, errorNumber, problem);
  if (!file) {
    d.set("Error", problem.empty() ? std::string(std::strerror(errorNumber)) : problem);
    return d;
  }
  d.set("Size", file->sizeInBytes());
  d.set("Container", std::string(containerKindName(file->containerKind())));
  if (const auto* set = dynamic_cast<const EwfEvidenceSet*>(&file->container())) {
    const EwfAcquiryFields& fields = set->acquiryFields();
    if (!fields.caseNumber.empty()) d.set("Case Number", fields.caseNumber);
    if (!fields.examinerName.empty()) d.set("Examiner Name", fields.examinerName);
    if (!fields.acquiryDate.empty()) d.set("Acquiry Date", fields.acquiryDate);
    if (!fields.storedMd5.empty()) d.set("Stored MD5", fields.storedMd5);
  }
  d.set("Preferred Block Size", sectorSizeOverride ? sectorSizeOverride : file->sectorSize());
  d.set("Block Device", file->isBlockDevice());
  std::vector<std::byte> head(2 * 4096, std::byte{0});
  if (file->readAt(0, head, errorNumber) == ReadOutcome::kFailed) {
    d.set("Error", std::string(std::strerror(errorNumber)));
    return d;
  }
  const ByteReader read = [&file](std::uint64_t byteOffset, std::span<std::byte> out) {
    int error = 0;
    return file->readAt(byteOffset, out, error) != ReadOutcome::kFailed;
  };
  // The size every other command reads the source in: an image says it by its own structures.
  std::uint32_t sectorSize = sectorSizeOverride ? sectorSizeOverride : file->sectorSize();
  if (!sectorSizeOverride && !file->isBlockDevice()) sectorSize = imageSectorSize(head, file->sizeInBytes(), read);
  d.set("Preferred Block Size", sectorSize);
  d.set("Layout", layoutOf(head, sectorSize, read));
  return d;
}

Dict verifyStoredDigest(const std::string& path) {
  Dict d{{"Path", path}};
  int errorNumber = 0;
  std::string problem;
  auto file = DeviceFile::open(path, errorNumber, problem);
  const auto* set = file ? dynamic_cast<const EwfEvidenceSet*>(&file->container()) : nullptr;
  if (!set || set->acquiryFields().storedMd5.empty()) {
    d.set("MD5 Check", std::string("no MD5 stored"));
    return d;
  }
  const auto computed = mediaMd5(*set, nullptr);
  if (!computed) {
    d.set("MD5 Check", std::string("media cannot be read"));
    return d;
  }
  d.set("Computed MD5", *computed);
  d.set("MD5 Check", std::string(*computed == set->acquiryFields().storedMd5 ? "matches" : "does not match"));
  return d;
}

}  // namespace nua
