#include "app/drive_discovery.h"

#include "media/drive_finder.h"
#include "media/image_media.h"
#include "media/linux_media_source.h"
#include "media/partition_reader.h"
#include "media/volume_checks.h"

namespace nua {

DriveListing discoverDrives(const DiscoveryOptions& options) {
  LinuxPathRules rules;
  LinuxMedia media = findLinuxMedia(options.systemRoot, rules);
  DeviceVolumeProbe probe(options.iconRoot);
  DriveFinder finder(rules, probe);
  finder.responseDriveFinder = std::move(media.responseDriveFinder);
  finder.finalArrayForVolumes = std::move(media.finalArrayForVolumes);
  // A disk with nothing mounted shows its partitions from its own map, as an image does.
  for (const Dict& disk : media.unmountedDisks)
    for (Dict& volume : imageMediaEntries(disk.string("Path"), static_cast<std::uint32_t>(disk.uint64("Preferred Block Size")), true))
      finder.extraMedia.push_back(std::move(volume));
  for (const std::string& image : options.images)
    for (Dict& entry : imageMediaEntries(image)) finder.extraMedia.push_back(std::move(entry));
  finder.buildLists();
  return {toDriveRows(finder.driveDictArray), toDriveRows(finder.volumeDictArray),
          toDriveRows(finder.volumeDictArrayHFSOnly)};
}

std::vector<PartitionRow> partitionsOfDrive(MediaReader& drive) {
  std::vector<PartitionRow> list;
  PartitionReader(drive).initialize(list);
  return list;
}

MediaSources discoveryMediaSources(DiscoveryOptions options) {
  MediaSources sources;
  sources.initialDriveList = [options] { return discoverDrives(options); };
  sources.partitionsOfDrive = [](MediaReader& drive) { return partitionsOfDrive(drive); };
  return sources;
}

Dict scanTargetDict(const std::string& target, int partitionRow, int volumeRow, std::string& error) {
  const std::vector<Dict> entries = imageMediaEntries(target);
  if (entries.empty()) {
    error = target + ": cannot be read";
    return {};
  }
  LinuxPathRules rules;  // an image and its volumes share one path
  DeviceVolumeProbe probe("");
  DriveFinder finder(rules, probe);
  finder.extraMedia = entries;
  finder.buildLists();
  if (finder.driveDictArray.empty()) {
    error = target + ": not usable as a drive";
    return {};
  }
  const Dict& drive = finder.driveDictArray.front();
  if (volumeRow >= 0) {
    if (static_cast<std::size_t>(volumeRow) >= finder.volumeDictArray.size()) {
      error = "no volume row " + std::to_string(volumeRow) + " (" + std::to_string(finder.volumeDictArray.size()) +
              " volumes)";
      return {};
    }
    return finder.volumeDictArray[static_cast<std::size_t>(volumeRow)];
  }
  if (partitionRow >= 0) {
    MediaReader media;
    media.initWithDictionary(drive, {});
    const std::vector<PartitionRow> partitions = partitionsOfDrive(media);
    if (static_cast<std::size_t>(partitionRow) >= partitions.size()) {
      error = "no partition row " + std::to_string(partitionRow) + " (" + std::to_string(partitions.size()) +
              " partitions)";
      return {};
    }
    // As the wizard completes a partition row of its list.
    PartitionRow row = partitions[static_cast<std::size_t>(partitionRow)];
    row.takeDriveGeometry(DriveRow::fromDict(drive));
    return row.toDict();
  }
  return drive;
}

}  // namespace nua
