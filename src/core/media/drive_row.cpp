#include <variant>

#include "media/rows.h"

namespace nua {
namespace {

// Moves the property at `key` out of `bag` into `field` when `take` accepts its value.
template <typename Field, typename Take>
void takeOut(Dict& bag, const char* key, Field& field, Take take) {
  const DictValue* value = bag.find(key);
  if (value != nullptr && take(*value, field)) bag.remove(key);
}

bool takeText(const DictValue& value, std::string& field) {
  if (!value.isString() || value.toString().empty()) return false;
  field = value.toString();
  return true;
}

bool takeAnyText(const DictValue& value, std::optional<std::string>& field) {
  if (!value.isString()) return false;
  field = value.toString();
  return true;
}

bool takeFlag(const DictValue& value, bool& field) {
  if (!value.isBool() || !value.toBool()) return false;
  field = true;
  return true;
}

bool takeCount(const DictValue& value, std::optional<std::uint64_t>& field) {
  if (const auto* unsignedValue = std::get_if<std::uint64_t>(&value.value)) {
    field = *unsignedValue;
    return true;
  }
  const auto* signedValue = std::get_if<std::int64_t>(&value.value);
  if (signedValue == nullptr || *signedValue < 0) return false;
  field = static_cast<std::uint64_t>(*signedValue);
  return true;
}

bool takeSigned(const DictValue& value, std::optional<std::int64_t>& field) {
  const auto* signedValue = std::get_if<std::int64_t>(&value.value);
  if (signedValue == nullptr) return false;
  field = *signedValue;
  return true;
}

bool takeChildren(const DictValue& value, std::vector<DriveRow>& field) {
  const DictArray* array = value.array();
  if (array == nullptr || array->empty()) return false;
  for (const DictValue& child : *array)
    if (child.dict() == nullptr) return false;
  for (const DictValue& child : *array) field.push_back(DriveRow::fromDict(*child.dict()));
  return true;
}

void putText(Dict& dict, const char* key, const std::string& text) {
  if (!text.empty()) dict.set(key, text);
}

}  // namespace

DriveRow DriveRow::fromDict(const Dict& dict) {
  DriveRow row;
  Dict& bag = row.otherProperties;
  bag = dict;
  takeOut(bag, kPathKey, row.path, takeText);
  takeOut(bag, kWhetherVolumeKey, row.isVolume, takeFlag);
  takeOut(bag, kWhetherDiskDictKey, row.isWholeDisk, takeFlag);
  takeOut(bag, kContentKey, row.content, takeText);
  takeOut(bag, kVolumeNameKey, row.volumeName, takeText);
  takeOut(bag, kDeviceModelKey, row.model, takeText);
  takeOut(bag, kDeviceSerialKey, row.serial, takeText);
  takeOut(bag, kDeviceRevisionKey, row.revision, takeText);
  takeOut(bag, kParentDrivePathKey, row.parentDrivePath, takeText);
  takeOut(bag, kMountedPathKey, row.mountedPath, takeText);
  takeOut(bag, kJournaledKey, row.journaled, takeText);
  takeOut(bag, kSizeKey, row.sizeBytes, takeCount);
  takeOut(bag, kPreferredBlockSizeKey, row.sectorSizeBytes, takeCount);
  takeOut(bag, kSupportFileSystemRecoveryKey, row.fileSystemRecovery, takeSigned);
  takeOut(bag, kIconResourceKey, row.iconResource, takeAnyText);
  takeOut(bag, kBundlePathKey, row.iconBundlePath, takeAnyText);
  takeOut(bag, kChildrenVolumeArrayKey, row.childVolumes, takeChildren);
  return row;
}

Dict DriveRow::toDict() const {
  Dict dict = otherProperties;
  putText(dict, kPathKey, path);
  if (isVolume) dict.set(kWhetherVolumeKey, true);
  if (isWholeDisk) dict.set(kWhetherDiskDictKey, true);
  putText(dict, kContentKey, content);
  putText(dict, kVolumeNameKey, volumeName);
  putText(dict, kDeviceModelKey, model);
  putText(dict, kDeviceSerialKey, serial);
  putText(dict, kDeviceRevisionKey, revision);
  putText(dict, kParentDrivePathKey, parentDrivePath);
  putText(dict, kMountedPathKey, mountedPath);
  putText(dict, kJournaledKey, journaled);
  if (sizeBytes) dict.set(kSizeKey, *sizeBytes);
  if (sectorSizeBytes) dict.set(kPreferredBlockSizeKey, *sectorSizeBytes);
  if (fileSystemRecovery) dict.set(kSupportFileSystemRecoveryKey, *fileSystemRecovery);
  if (iconResource) dict.set(kIconResourceKey, *iconResource);
  if (iconBundlePath) dict.set(kBundlePathKey, *iconBundlePath);
  if (!childVolumes.empty()) dict.set(kChildrenVolumeArrayKey, toDictArray(childVolumes));
  return dict;
}

std::vector<DriveRow> toDriveRows(const std::vector<Dict>& dicts) {
  std::vector<DriveRow> rows;
  rows.reserve(dicts.size());
  for (const Dict& dict : dicts) rows.push_back(DriveRow::fromDict(dict));
  return rows;
}

DictArray toDictArray(const std::vector<DriveRow>& rows) {
  DictArray array;
  array.reserve(rows.size());
  for (const DriveRow& row : rows) array.emplace_back(row.toDict());
  return array;
}

}  // namespace nua
