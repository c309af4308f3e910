// Dictionaries shaped as the system's disk listing gives them, and a drive finder over a probe that
// reads nothing, for the tests of discovery and of the drive list's texts.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/dict.h"
#include "media/drive_finder.h"
#include "media/linux_media_source.h"

namespace nua::drive_finder_fixture {

// Reads nothing: answers from the entry's path.
class FakeProbe : public VolumeProbe {
 public:
  std::optional<Dict> checkForJournal(const Dict& entry) override {
    const std::string path = entry.string("Path");
    if (path == "/dev/sda2") return Dict{{"Content", "Apple_HFS"}, {"journaled", "Yes"}, {"HFSVolumeStart", std::uint64_t{0}}, {"supportFileSystemRecovery", 1}};
    if (path == "/dev/sdb1") return Dict{{"Content", "Apple_HFSX"}, {"journaled", "No"}, {"HFSVolumeStart", std::uint64_t{0}}, {"supportFileSystemRecovery", 0}};
    return std::nullopt;
  }
  bool isVolumeFAT(const Dict& entry) override { return entry.string("Path") == "/dev/sda3"; }
  std::string fatFileSystemDetermination(const Dict&) override { return "FAT32"; }
  bool isFATWithoutPartitionMap(const Dict&) override { return false; }
  std::string fileSystemType(const Dict& mount) override { return mount.string("File System Type"); }
  std::string bundlePath(const std::string& id) override { return id == "org.freedesktop.icon-theme" ? "/icons" : "nil"; }
};

inline Dict medium(const std::string& bsd, std::uint64_t size, const std::string& content = "") {
  Dict d{{"BSD Name", bsd}, {"Size", size}, {"Preferred Block Size", 512}, {"Writable", true},
         {"IOMediaIcon", Dict{{"CFBundleIdentifier", "org.freedesktop.icon-theme"}, {"IOBundleResourceFile", "drive-harddisk"}}}};
  if (!content.empty()) d.set("Content", content);
  return d;
}

inline Dict protocol(const std::string& interconnect) {
  return Dict{{"Protocol Characteristics", Dict{{"Physical Interconnect", interconnect}}}};
}

inline Dict mount(const std::string& path, const std::string& number, const std::string& type) {
  return Dict{{"Mounted Path", path}, {"Volume Name", path.substr(path.find_last_of('/') + 1)}, {"Device Number", number},
              {"File System Type", type}, {"Volume Path", ""}};
}

struct Fixture {
  LinuxPathRules rules;
  FakeProbe probe;
  DriveFinder finder{rules, probe};
  void add(std::vector<Dict> chain, const std::string& number, bool partition) {
    const std::string path = "/dev/" + chain.front().string("BSD Name");
    rules.deviceNumbers[path] = number;
    if (partition) rules.partitions.insert(path);
    finder.responseDriveFinder.push_back(std::move(chain));
  }
};

}  // namespace nua::drive_finder_fixture
