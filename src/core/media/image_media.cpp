#include "media/image_media.h"

#include <cstring>
#include <filesystem>

#include "base/bytes.h"
#include "media/device_file.h"
#include "media/media_reader.h"
#include "media/drive_finder.h"
#include "media/fat_boot_peek.h"
#include "media/image_geometry.h"
#include "media/partition_reader.h"
#include "ondisk/volume_information_block.h"

namespace nua {
namespace {

bool hasText(ByteSpan bytes, std::size_t offset, const char* text) {
  const std::size_t length = std::strlen(text);
  return fits(bytes.size(), offset, length) && std::memcmp(bytes.data() + offset, text, length) == 0;
}

// What a source begins with when it has no map: "Apple_HFS", "exFAT", "FAT32" (the type is settled
// later) or "".
std::string bareFileSystem(ByteSpan head, const ByteReader& read) {
  const std::uint16_t signature = be16(head, 1024);
  if (isHfsPlusSignature(signature) || signature == kSignatureBD) return "Apple_HFS";
  if (isExfatBootSector(head)) return "exFAT";
  const auto boot = parseFatBootSector(head);
  if (boot && boot->signature == kFatBootSignature && (hasText(head, 54, "FAT") || hasText(head, 82, "FAT")))
    return "FAT32";
  // A FAT boot sector without the type text (older DOS) is told by its fields and its first table.
  if (beginsWithFatVolume(head, read)) return "FAT32";
  return "";
}

// A map-less HFS+ volume whose primary header is lost but whose alternate header, 1024 bytes before
// the end of the image, is intact: still a volume, scanned from that header.
std::string bareFileSystemOrAlternateHfs(ByteSpan head, const ByteReader& read, const DeviceFile& file) {
  if (std::string content = bareFileSystem(head, read); !content.empty()) return content;
  const std::uint64_t at = alternateHeaderByte(file.sizeInBytes());
  std::vector<std::byte> header(2, std::byte{0});
  int errorNumber = 0;
  if (at == 0 || file.readAt(at, header, errorNumber) == ReadOutcome::kFailed) return "";
  return isHfsVolumeSignature(be16(header, 0)) ? "Apple_HFS" : "";
}

}  // namespace

std::vector<Dict> imageMediaEntries(const std::string& path, std::uint32_t sectorSizeOverride, bool volumesOnly) {
  int errorNumber = 0;
  const auto file = DeviceFile::open(path, errorNumber);
  if (!file) return {};
  std::vector<std::byte> head(8192, std::byte{0});
  if (file->readAt(0, head, errorNumber) == ReadOutcome::kFailed) return {};
  std::uint32_t sectorSize = sectorSizeOverride ? sectorSizeOverride : file->sectorSize();
  const ByteReader read = [&file](std::uint64_t byteOffset, std::span<std::byte> out) {
    int error = 0;
    return file->readAt(byteOffset, out, error) != ReadOutcome::kFailed;
  };
  // An image of a 4096-byte-sector disk is read in its own sectors.
  if (!sectorSizeOverride && !file->isBlockDevice()) sectorSize = imageSectorSize(head, file->sizeInBytes(), read);

  const std::string name = std::filesystem::path(path).filename().string();
  Dict drive{{"Path", path},
             {"Size", file->sizeInBytes()},
             {"Preferred Block Size", sectorSize},
             {"device model", name},
             {"device serial", "-"},
             {"device revision", "-"},
             {"Physical Interconnect", file->isBlockDevice() ? "Block Device" : "Disk Image"},
             {"CFBundleIdentifier", "org.freedesktop.icon-theme"},
             {"IOBundleResourceFile", file->isBlockDevice() ? "drive-harddisk" : "media-optical"}};
  // Carried into the volumes and on into a session, which names the container it was read from.
  if (file->containerKind() != ContainerKind::kRaw)
    drive.set("Container", std::string(containerKindName(file->containerKind())));

  MediaReader media;
  media.initWithDictionary(drive, {});
  const std::vector<PartitionRow> partitions = PartitionReader(media).listAllPartitions();
  // Names of the HFS+ partitions come from their catalogs.
  std::vector<PartitionRow> named;
  PartitionReader(media).initialize(named);

  std::vector<Dict> entries;
  auto volumeFrom = [&](std::uint64_t start, std::uint64_t sectors, const std::string& content, const std::string& volumeName) {
    Dict volume = drive;
    volume.set("WhetherVolume", true);
    volume.set("Volume Start", start);
    volume.set("Size", sectors * sectorSize);
    volume.set("Content", newKeyForKey("Content", content, nullptr).second);
    volume.set("Volume Name", volumeName);
    volume.set("Mounted Path", "");
    return volume;
  };
  if (!partitions.empty()) {
    drive.set("Content", "partition map");
    for (const PartitionRow& p : partitions) {
      std::string volumeName = p.volumeName;
      for (const PartitionRow& n : named)
        if (n.volumeStart == p.volumeStart) volumeName = n.volumeName;
      const std::string content = p.content == "Apple_HFSX" ? std::string("Apple_HFS") : p.content;
      entries.push_back(volumeFrom(p.volumeStart, p.sizeInSectors, content, volumeName));
    }
  } else if (const std::string content = bareFileSystemOrAlternateHfs(head, read, *file); !content.empty()) {
    std::string volumeName = std::filesystem::path(path).stem().string();
    if (!named.empty()) volumeName = named.front().volumeName;
    entries.push_back(volumeFrom(0, file->sizeInBytes() / sectorSize, content, volumeName));
  } else if (volumesOnly) {
    return {};
  }
  if (!volumesOnly) entries.insert(entries.begin(), drive);
  return entries;
}

}  // namespace nua
