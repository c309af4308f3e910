#include "media/drive_finder.h"

#include <algorithm>
#include <set>

#include "base/text.h"

namespace nua {
namespace {

bool startsWith(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

void copyIfPresent(Dict& d, const char* to, const char* from) {
  if (const DictValue* v = d.find(from)) d.set(to, *v);
}

}  // namespace

int valueRequired(const std::string& key) {
  static const std::set<std::string> copied{"Preferred Block Size",   "CFBundleIdentifier",    "IOBundleResourceFile",
                                            "Physical Interconnect",  "Vendor Identification", "Product Identification",
                                            "Product Revision Level", "device model",          "device serial",
                                            "device revision",        "Vendor Name",           "Product Name",
                                            "Size"};
  static const std::set<std::string> renamed{"Content", "Model", "Serial Number", "Revision", "BSD Name"};
  static const std::set<std::string> nested{"IOMediaIcon", "Protocol Characteristics", "Device Characteristics",
                                            "Card Characteristics", "IOClass"};
  if (copied.count(key)) return 1;
  if (renamed.count(key)) return 2;
  if (nested.count(key)) return 3;
  return 0;
}

std::pair<std::string, DictValue> newKeyForKey(const std::string& key, const DictValue& value, const DictValue*) {
  if (key == "Content") {
    const std::string& content = value.toString();
    if (content == "48465300-0000-11AA-AA11-00306543ECAC") return {key, "Apple_HFS"};
    if (content == "Windows_FAT_32") return {key, "FAT32"};
    if (content == "Windows_FAT_16") return {key, "FAT16"};
    return {key, value};
  }
  if (key == "Model") return {"device model", value};
  if (key == "Serial Number") return {"device serial", value};
  if (key == "Revision") return {"device revision", value};
  if (key == "BSD Name") return {"Path", formatText("/dev/r%@", {value.toString()})};
  return {key, value};
}

void DriveFinder::buildLists() {
  sortDriveFinderResponse();
  rearrangeDriveFinderResponse();
  truncateDriveModelNumber();
  for (Dict& entry : extraMedia) responseFindMedia.push_back(std::move(entry));
  extraMedia.clear();
  separateDrvVol();
}

void DriveFinder::mergeProperty(Dict& merged, const std::string& key, const DictValue& value) {
  switch (valueRequired(key)) {
    case 1:
      if (!merged.has(key)) merged.set(key, value);
      break;
    case 2: {
      auto [newKey, newValue] = newKeyForKey(key, value, merged.find(key));
      // The device path is the platform's; everything else is as the generic rule gives it.
      if (key == "BSD Name") newValue = rules_.pathForBsdName(value.toString());
      if (!merged.has(newKey)) merged.set(newKey, std::move(newValue));
      break;
    }
    case 3:
      if (const Dict* inner = value.dict())
        for (const auto& [innerKey, innerValue] : *inner)
          if (valueRequired(innerKey) == 1 || valueRequired(innerKey) == 2) mergeProperty(merged, innerKey, innerValue);
      break;
    default: break;
  }
}

void DriveFinder::sortDriveFinderResponse() {
  for (const std::vector<Dict>& medium : responseDriveFinder) {
    Dict merged;
    // Nearest first: the medium's own value goes before its parents'.
    for (const Dict& properties : medium)
      for (const auto& [key, value] : properties) mergeProperty(merged, key, value);
    if (merged.has("Physical Interconnect")) {
      const std::string interconnect = merged.string("Physical Interconnect");
      if (interconnect == "USB") {
        copyIfPresent(merged, "device model", "Vendor Identification");
        copyIfPresent(merged, "device serial", "Product Identification");
      } else if (interconnect == "SATA") {
        copyIfPresent(merged, "device model", "Product Name");
      } else {
        copyIfPresent(merged, "device model", "Vendor Name");
        copyIfPresent(merged, "device serial", "Product Name");
      }
      copyIfPresent(merged, "device revision", "Product Revision Level");
    }
    std::vector<std::string> empty;
    for (const auto& [key, value] : merged)
      if (value.isString() && value.toString().empty()) empty.push_back(key);
    for (const std::string& key : empty) merged.set(key, "-");
    responseFindMedia.push_back(std::move(merged));
  }
}

void DriveFinder::applyContentRule(Dict& entry, const Dict& mount) {
  if (entry.has("Content") && entry.string("Content") != "-") return;
  const std::string type = probe_.fileSystemType(mount);
  if (startsWith(type, "hfs")) entry.set("Content", "Apple_HFS");
  // "vfat" is how Linux names every FAT variant; the FAT type is settled from the boot sector later.
  else if (startsWith(type, "fat") || startsWith(type, "msdos") || startsWith(type, "vfat")) entry.set("Content", "FAT32");
}

void DriveFinder::rearrangeDriveFinderResponse() {
  std::vector<Dict> wholeDiskVolumes;
  for (std::size_t i = 0; i < responseFindMedia.size(); ++i) {
    Dict& entry = responseFindMedia[i];
    const std::string path = entry.string("Path");
    const bool partition = rules_.isPartition(path);
    if (partition) entry.set("WhetherVolume", true);
    bool matched = false;
    for (const Dict& mount : finalArrayForVolumes) {
      if (!rules_.mountMatches(path, mount)) continue;
      if (partition) {
        entry.set("Volume Name", mount.string("Volume Name"));
        entry.set("Mounted Path", mount.string("Mounted Path"));
        entry.set("WhetherVolume", true);
        matched = true;
        applyContentRule(entry, mount);
      } else {
        // A disk mounted without a partition map is a drive and, as a copy, a volume too.
        Dict copy = entry;
        applyContentRule(copy, mount);
        copy.set("Volume Name", mount.string("Volume Name"));
        copy.set("Mounted Path", mount.string("Mounted Path"));
        copy.set("WhetherVolume", true);
        wholeDiskVolumes.push_back(std::move(copy));
      }
    }
    // Unmounted partitions are reached through partition recovery, not as volumes.
    if (partition && !matched) {
      responseFindMedia.erase(responseFindMedia.begin() + static_cast<std::ptrdiff_t>(i));
      --i;
    }
  }
  for (Dict& copy : wholeDiskVolumes) responseFindMedia.push_back(std::move(copy));
}

void DriveFinder::truncateDriveModelNumber() {
  for (Dict& entry : responseFindMedia) {
    if (entry.has("WhetherVolume")) continue;
    for (const char* key : {"device model", "device serial", "device revision"})
      entry.set(key, entry.has(key) ? trimmed(entry.string(key)) : std::string("-"));
  }
}

void DriveFinder::addFATVolume(Dict& entry) {
  entry.set("Content", probe_.fatFileSystemDetermination(entry));
  entry.set("fileSystem", 1);
  entry.set("journaled", "-");
  entry.set("HFSVolumeStart", std::uint64_t{0});
  entry.set("supportFileSystemRecovery", 1);
  volumeDictArray.push_back(entry);
}

void DriveFinder::separateDrvVol() {
  for (Dict& entry : responseFindMedia) {
    if (!entry.has("CFBundleIdentifier")) continue;
    if (!entry.has("WhetherVolume")) {
      entry.set("WhetherDiskDict", true);
      driveDictArray.push_back(entry);
      continue;
    }
    entry.set("journaled", "-");
    const std::string content = entry.has("Content") ? entry.string("Content") : std::string("FAT32");
    // FAT12 joins the FAT names: a FAT12 volume (MBR type 0x01) would otherwise never be listed.
    static const std::set<std::string> fatNames{"DOS_FAT_32", "FAT32", "DOS_FAT_16", "FAT16", "DOS_FAT_12", "FAT12",
                                                "exFAT"};
    if (fatNames.count(content)) {
      addFATVolume(entry);
    } else if (content == "Apple_HFS" || content == "HFS+" || content == "Apple_HFSX") {
      const std::optional<Dict> journal = probe_.checkForJournal(entry);
      if (!journal) continue;
      entry.set("supportFileSystemRecovery", journal->int64("supportFileSystemRecovery"));
      entry.set("fileSystem", 0);
      for (const char* key : {"Content", "journaled", "HFSVolumeStart"})
        if (const DictValue* v = journal->find(key)) entry.set(key, *v);
      volumeDictArray.push_back(entry);
      volumeDictArrayHFSOnly.push_back(entry);
    } else if ((content == "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7" || content == "Windows_NTFS") &&
               probe_.isVolumeFAT(entry)) {
      // MBR type 0x07 is shared by NTFS and exFAT; only the boot sector tells them apart.
      addFATVolume(entry);
    }
  }
  checkForFATPartitionByWindows();
  attachVolumesToDrives();
  fixBundleResource();
  getDrvVolIconPaths();
}

void DriveFinder::checkForFATPartitionByWindows() {
  for (Dict& drive : driveDictArray) {
    if (!probe_.isFATWithoutPartitionMap(drive)) continue;
    const std::string type = probe_.fatFileSystemDetermination(drive);
    const DictValue* children = drive.find("Children Volume Array");
    // Runs before the volumes are attached, so no drive has a first child yet.
    if (type == "-" || !children || !children->array() || children->array()->empty()) continue;
    DictArray updated = *children->array();
    if (const Dict* first = updated.front().dict()) {
      Dict child = *first;
      child.set("Content", type);
      child.set("journaled", "-");
      child.set("HFSVolumeStart", std::uint64_t{0});
      child.set("supportFileSystemRecovery", 1);
      updated.front() = DictValue(child);
    }
    drive.set("Children Volume Array", updated);
  }
}

}  // namespace nua
