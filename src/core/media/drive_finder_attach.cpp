// The last steps of the lists: volumes attached to their drives and numbered for the mixed table,
// and the icon keys every row draws from.
#include <map>
#include <set>

#include "media/drive_finder.h"

namespace nua {
namespace {

// Rebuilds each drive's "Children Volume Array" from the volume list, so both hold the same keys.
void syncChildren(std::vector<Dict>& drives, const std::vector<Dict>& volumes, const std::vector<int>& owner) {
  for (std::size_t d = 0; d < drives.size(); ++d) {
    DictArray children;
    for (std::size_t v = 0; v < volumes.size(); ++v)
      if (owner[v] == static_cast<int>(d)) children.emplace_back(volumes[v]);
    if (!children.empty()) drives[d].set("Children Volume Array", children);
  }
}

std::vector<int> owners(const std::vector<Dict>& drives, const std::vector<Dict>& volumes) {
  std::vector<int> owner(volumes.size(), -1);
  for (std::size_t v = 0; v < volumes.size(); ++v)
    for (std::size_t d = 0; d < drives.size() && owner[v] < 0; ++d)
      if (volumes[v].string("Parent Drive Path") == drives[d].string("Path") && volumes[v].has("Parent Drive Path"))
        owner[v] = static_cast<int>(d);
  return owner;
}

}  // namespace

void DriveFinder::attachVolumesToDrives() {
  std::vector<int> owner(volumeDictArray.size(), -1);
  std::vector<std::int64_t> childCount(driveDictArray.size(), 0);
  for (std::size_t v = 0; v < volumeDictArray.size(); ++v) {
    Dict& volume = volumeDictArray[v];
    for (std::size_t d = 0; d < driveDictArray.size(); ++d) {
      const Dict& drive = driveDictArray[d];
      if (!rules_.volumeBelongsToDrive(volume.string("Path"), drive.string("Path"))) continue;
      owner[v] = static_cast<int>(d);
      volume.set("Index of child Volume", childCount[d]++);
      volume.set("Parent Drive Path", drive.string("Path"));
      for (const char* key : {"device model", "device serial", "device revision"})
        if (const DictValue* value = drive.find(key)) volume.set(key, *value);
      break;
    }
  }
  // The mixed table: each drive, then its volumes.
  std::int64_t row = 0;
  for (std::size_t d = 0; d < driveDictArray.size(); ++d) {
    driveDictArray[d].set("Volume and Drive Index", row++);
    bool iconTaken = driveDictArray[d].has("CFBundleIdentifier");
    for (std::size_t v = 0; v < volumeDictArray.size(); ++v) {
      if (owner[v] != static_cast<int>(d)) continue;
      volumeDictArray[v].set("Volume and Drive Index", row++);
      volumeDictArray[v].set("Total Volumes in a disk", childCount[d]);
      if (!iconTaken && volumeDictArray[v].has("CFBundleIdentifier")) {
        driveDictArray[d].set("CFBundleIdentifier", volumeDictArray[v].string("CFBundleIdentifier"));
        driveDictArray[d].set("IOBundleResourceFile", volumeDictArray[v].string("IOBundleResourceFile"));
        iconTaken = true;
      }
    }
  }
  syncChildren(driveDictArray, volumeDictArray, owner);
}

void DriveFinder::fixBundleResource() {
  for (Dict& drive : driveDictArray) {
    const DictValue* children = drive.find("Children Volume Array");
    const bool hasChild = children && children->array() && !children->array()->empty();
    if (!drive.has("CFBundleIdentifier") || (!drive.has("IOBundleResourceFile") && !hasChild)) {
      drive.set("CFBundleIdentifier", "com.apple.iokit.IOStorageFamily");
      drive.set("IOBundleResourceFile", "Removable.icns");
    }
  }
}

void DriveFinder::getDrvVolIconPaths() {
  const std::vector<int> owner = owners(driveDictArray, volumeDictArray);
  std::set<std::string> identifiers;
  for (std::size_t v = 0; v < volumeDictArray.size(); ++v) {
    if (owner[v] < 0) continue;
    const Dict& drive = driveDictArray[static_cast<std::size_t>(owner[v])];
    for (const char* key : {"CFBundleIdentifier", "IOBundleResourceFile"})
      if (const DictValue* value = drive.find(key)) volumeDictArray[v].set(key, *value);
  }
  for (const Dict& d : driveDictArray) identifiers.insert(d.string("CFBundleIdentifier"));
  for (const Dict& v : volumeDictArray) identifiers.insert(v.string("CFBundleIdentifier"));
  std::map<std::string, std::string> paths;
  for (const std::string& id : identifiers) paths[id] = probe_.bundlePath(id);
  for (Dict& d : driveDictArray) d.set("bundle path", paths[d.string("CFBundleIdentifier")]);
  for (Dict& v : volumeDictArray) v.set("bundle path", paths[v.string("CFBundleIdentifier")]);
  syncChildren(driveDictArray, volumeDictArray, owner);
  // The HFS+ list holds the same volumes, in the same order, with every key added since.
  volumeDictArrayHFSOnly.clear();
  for (const Dict& v : volumeDictArray)
    if (v.int64("fileSystem", -1) == 0) volumeDictArrayHFSOnly.push_back(v);
}

}  // namespace nua
