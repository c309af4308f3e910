#include "media/rows.h"

namespace nua {
namespace {

std::optional<std::uint64_t> optionalNumber(const Dict& dict, const char* key) {
  if (const DictValue* value = dict.find(key)) return value->toUInt64();
  return std::nullopt;
}

std::optional<std::string> optionalText(const Dict& dict, const char* key) {
  if (const DictValue* value = dict.find(key)) return value->toString();
  return std::nullopt;
}

}  // namespace

void PartitionRow::takeDriveGeometry(const DriveRow& drive) {
  if (drive.sectorSizeBytes) sectorSizeBytes = drive.sectorSizeBytes;
  sizeBytes = sizeInSectors * drive.sectorSizeBytes.value_or(0);
  if (drive.iconResource) iconResource = drive.iconResource;
  if (drive.iconBundlePath) iconBundlePath = drive.iconBundlePath;
}

Dict PartitionRow::toDict() const {
  Dict d{{kVolumeStartKey, volumeStart},
         {kVolumeSizeInSectorsKey, sizeInSectors},
         {kVolumeNameKey, volumeName},
         {kVolumeScanTypeKey, static_cast<int>(scanType)},
         {kPathKey, path},
         {kModelKey, model},
         {kSerialKey, serial},
         {kRevisionKey, revision},
         {kContentKey, content}};
  if (volumeValidity) d.set(kVolumeValidityKey, *volumeValidity);
  if (alternateHeaderSector) d.set(kWhetherAlternateSectorKey, *alternateHeaderSector);
  if (sectorSizeBytes) d.set(kPreferredBlockSizeKey, *sectorSizeBytes);
  if (sizeBytes) d.set(kSizeKey, *sizeBytes);
  if (iconResource) d.set(kIconResourceKey, *iconResource);
  if (iconBundlePath) d.set(kBundlePathKey, *iconBundlePath);
  return d;
}

DictArray toDictArray(const std::vector<PartitionRow>& rows) {
  DictArray array;
  array.reserve(rows.size());
  for (const PartitionRow& row : rows) array.emplace_back(row.toDict());
  return array;
}

PartitionRow PartitionRow::fromDict(const Dict& dict) {
  PartitionRow row;
  row.volumeStart = dict.uint64(kVolumeStartKey);
  row.sizeInSectors = dict.uint64(kVolumeSizeInSectorsKey);
  row.volumeName = dict.string(kVolumeNameKey);
  row.scanType =
      dict.int64(kVolumeScanTypeKey) == 1 ? PartitionScanType::kVolumeSearch : PartitionScanType::kPartitionMap;
  row.path = dict.string(kPathKey);
  row.model = dict.string(kModelKey);
  row.serial = dict.string(kSerialKey);
  row.revision = dict.string(kRevisionKey);
  row.content = dict.string(kContentKey);
  row.volumeValidity = optionalNumber(dict, kVolumeValidityKey);
  row.alternateHeaderSector = optionalNumber(dict, kWhetherAlternateSectorKey);
  row.sectorSizeBytes = optionalNumber(dict, kPreferredBlockSizeKey);
  row.sizeBytes = optionalNumber(dict, kSizeKey);
  row.iconResource = optionalText(dict, kIconResourceKey);
  row.iconBundlePath = optionalText(dict, kBundlePathKey);
  return row;
}

}  // namespace nua
