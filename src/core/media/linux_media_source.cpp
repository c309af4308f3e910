#include "media/linux_media_source.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace nua {
namespace {

namespace fs = std::filesystem;

std::string readText(const fs::path& file) {
  std::ifstream in(file);
  if (!in) return {};
  std::stringstream buffer;
  buffer << in.rdbuf();
  std::string text = buffer.str();
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
  return text;
}

std::uint64_t readNumber(const fs::path& file) {
  const std::string text = readText(file);
  std::uint64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return 0;
    if (value > (UINT64_MAX - 9) / 10) return 0;
    value = value * 10 + static_cast<std::uint64_t>(c - '0');
  }
  return value;
}

// "E:KEY=VALUE" lines of the udev database entry of one device.
std::map<std::string, std::string> udevProperties(const fs::path& root, const std::string& deviceNumber) {
  std::map<std::string, std::string> properties;
  std::ifstream in(root / "run/udev/data" / ("b" + deviceNumber));
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("E:", 0) != 0) continue;
    const auto eq = line.find('=');
    if (eq != std::string::npos) properties[line.substr(2, eq - 2)] = line.substr(eq + 1);
  }
  return properties;
}

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

bool endsWithDigit(const std::string& text) { return !text.empty() && std::isdigit(static_cast<unsigned char>(text.back())); }

bool allDigits(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

// The bus a device hangs on, from where sysfs places it.
std::string interconnectOf(const std::string& devicePath, const std::string& name,
                           const std::map<std::string, std::string>& udev) {
  auto has = [&](const char* part) { return devicePath.find(part) != std::string::npos; };
  const auto bus = udev.find("ID_BUS");
  if (has("/usb") || (bus != udev.end() && bus->second == "usb")) return "USB";
  if (has("/nvme") || name.rfind("nvme", 0) == 0) return "NVMe";
  if (has("/mmc") || name.rfind("mmcblk", 0) == 0) return "Secure Digital";
  if (has("/end_device-") || has("/sas_")) return "SAS";
  if (has("/ata") || (bus != udev.end() && bus->second == "ata")) return "SATA";
  if (has("/virtio")) return "Virtio";
  if (name.rfind("loop", 0) == 0) return "Loop";
  return "";
}

std::string iconNameFor(const std::string& interconnect, bool removable) {
  if (interconnect == "Secure Digital") return "media-flash";
  if (interconnect == "USB" || removable) return "drive-removable-media";
  return "drive-harddisk";
}

std::string schemeName(const std::string& tableType) {
  if (tableType == "gpt") return "GUID_partition_scheme";
  if (tableType == "dos") return "FDisk_partition_scheme";
  if (tableType == "mac") return "Apple_partition_scheme";
  return "";
}

// The description keys of the device a disk sits on, in the places the drive finder looks for them.
Dict deviceDescription(const fs::path& device, const std::string& interconnect,
                       const std::map<std::string, std::string>& udev) {
  auto text = [&](const char* file) { return readText(device / file); };
  auto udevValue = [&](const char* key) {
    const auto it = udev.find(key);
    return it == udev.end() ? std::string() : it->second;
  };
  std::string serial = text("serial");
  if (serial.empty()) serial = udevValue("ID_SERIAL_SHORT");
  if (interconnect == "USB")
    return Dict{{"Vendor Identification", text("vendor")}, {"Product Identification", text("model")},
                {"Product Revision Level", text("rev")}, {"Serial Number", serial}};
  if (interconnect == "Secure Digital") {
    std::string vendor = udevValue("ID_VENDOR");
    if (vendor.empty()) vendor = text("manfid");
    return Dict{{"Card Characteristics",
                 Dict{{"Vendor Name", vendor}, {"Product Name", text("name")}, {"Product Revision Level", text("fwrev")}}},
                {"Serial Number", serial}};
  }
  if (interconnect == "SATA" || interconnect == "SAS")
    return Dict{{"Device Characteristics", Dict{{"Vendor Name", text("vendor")}, {"Product Name", text("model")},
                                                {"Product Revision Level", text("rev")}, {"Serial Number", serial}}}};
  // NVMe and others name the model and firmware directly.
  std::string revision = text("firmware_rev");
  if (revision.empty()) revision = text("rev");
  std::string model = text("model");
  if (model.empty()) model = udevValue("ID_MODEL");
  return Dict{{"Model", model}, {"Serial Number", serial}, {"Revision", revision}};
}

}  // namespace

bool LinuxPathRules::mountMatches(const std::string& path, const Dict& mount) const {
  const auto it = deviceNumbers.find(path);
  return it != deviceNumbers.end() && it->second == mount.string("Device Number");
}

bool LinuxPathRules::volumeBelongsToDrive(const std::string& volumePath, const std::string& drivePath) const {
  if (volumePath == drivePath) return true;
  if (drivePath.empty() || volumePath.rfind(drivePath, 0) != 0) return false;
  const std::string rest = volumePath.substr(drivePath.size());
  // A drive whose name ends in a digit numbers its partitions after a "p".
  if (endsWithDigit(drivePath)) return rest.size() > 1 && rest[0] == 'p' && allDigits(rest.substr(1));
  return allDigits(rest);
}

std::string contentForPartitionType(const std::string& scheme, const std::string& type) {
  if (scheme == "gpt") return upper(type);
  if (scheme == "mac") return type;
  static const std::map<std::string, std::string> mbr{
      {"0x1", "DOS_FAT_12"},      {"0x4", "Windows_FAT_16"},  {"0x6", "Windows_FAT_16"},
      {"0xe", "Windows_FAT_16"},  {"0xb", "Windows_FAT_32"},  {"0xc", "Windows_FAT_32"},
      {"0x7", "Windows_NTFS"},    {"0xaf", "Apple_HFS"},      {"0x83", "Linux"},
      {"0x82", "Linux_Swap"},     {"0xee", "EFI"},            {"0xef", "EFI"}};
  const auto it = mbr.find(type);
  return it == mbr.end() ? type : it->second;
}

std::vector<Dict> parseMountInfo(const std::string& text) {
  auto unescape = [](const std::string& word) {
    std::string out;
    for (std::size_t i = 0; i < word.size(); ++i) {
      if (word[i] == '\\' && i + 3 < word.size() + 0 && word.size() - i >= 4 &&
          std::all_of(word.begin() + static_cast<std::ptrdiff_t>(i) + 1, word.begin() + static_cast<std::ptrdiff_t>(i) + 4,
                      [](char c) { return c >= '0' && c <= '7'; })) {
        out.push_back(static_cast<char>((word[i + 1] - '0') * 64 + (word[i + 2] - '0') * 8 + (word[i + 3] - '0')));
        i += 3;
      } else {
        out.push_back(word[i]);
      }
    }
    return out;
  };
  std::vector<Dict> mounts;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::vector<std::string> fields;
    for (std::string w; words >> w;) fields.push_back(w);
    const auto dash = std::find(fields.begin(), fields.end(), "-");
    if (fields.size() < 5 || dash == fields.end() || fields.end() - dash < 3) continue;
    const std::string mountPoint = unescape(fields[4]);
    const auto slash = mountPoint.find_last_of('/');
    std::string name = slash == std::string::npos ? mountPoint : mountPoint.substr(slash + 1);
    mounts.push_back(Dict{{"Mounted Path", mountPoint},
                          {"Volume Name", name},
                          {"Volume Path", unescape(*(dash + 2))},
                          {"Device Number", fields[2]},
                          {"File System Type", *(dash + 1)}});
  }
  return mounts;
}

LinuxMedia findLinuxMedia(const std::string& systemRoot, LinuxPathRules& rules) {
  LinuxMedia media;
  const fs::path root(systemRoot.empty() ? "/" : systemRoot);
  const fs::path classBlock = root / "sys/class/block";
  std::error_code error;
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(classBlock, error)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());

  std::vector<Dict> mounts = parseMountInfo(readText(root / "proc/self/mountinfo"));
  std::set<std::string> mountedNumbers;
  for (const Dict& m : mounts) mountedNumbers.insert(m.string("Device Number"));

  std::map<std::string, Dict> ownByName;
  std::map<std::string, std::string> parentOf;
  for (const std::string& name : names) {
    // RAM disks and compressed swap are not storage anyone recovers from.
    if (name.rfind("ram", 0) == 0 || name.rfind("zram", 0) == 0) continue;
    const fs::path resolved = fs::canonical(classBlock / name, error);
    if (error) continue;
    const std::string number = readText(resolved / "dev");
    const bool partition = fs::exists(resolved / "partition", error);
    const fs::path disk = partition ? resolved.parent_path() : resolved;
    const std::uint64_t sectors = readNumber(resolved / "size");
    if (number.empty() || sectors == 0) continue;
    std::uint64_t blockSize = readNumber(disk / "queue/logical_block_size");
    if (blockSize == 0) blockSize = 512;
    const auto udev = udevProperties(root, number);
    const std::string path = rules.pathForBsdName(name);
    rules.deviceNumbers[path] = number;
    if (partition) rules.partitions.insert(path);

    Dict own{{"BSD Name", name},
             {"Size", sectors * 512},  // sysfs counts 512-byte units whatever the sector size
             {"Preferred Block Size", blockSize},
             {"Writable", readNumber(resolved / "ro") == 0},
             {"Whole", !partition}};
    std::string content;
    if (partition) {
      const auto scheme = udev.find("ID_PART_ENTRY_SCHEME");
      const auto type = udev.find("ID_PART_ENTRY_TYPE");
      if (scheme != udev.end() && type != udev.end()) content = contentForPartitionType(scheme->second, type->second);
    } else if (const auto table = udev.find("ID_PART_TABLE_TYPE"); table != udev.end()) {
      content = schemeName(table->second);
    }
    if (content.empty()) {
      // Without a registry entry the mount's own type names the content; HFS and FAT types are left
      // for the mount rule, which maps them to the names the lists use.
      for (const Dict& m : mounts) {
        const std::string type = m.string("File System Type");
        if (m.string("Device Number") != number || type.empty()) continue;
        if (type.rfind("hfs", 0) != 0 && type != "vfat" && type.rfind("fat", 0) != 0 && type.rfind("msdos", 0) != 0)
          content = type;
        break;
      }
    }
    if (!content.empty()) own.set("Content", content);
    const std::string interconnect = interconnectOf(disk.string(), disk.filename().string(), udev);
    own.set("IOMediaIcon", Dict{{"CFBundleIdentifier", "org.freedesktop.icon-theme"},
                                {"IOBundleResourceFile", iconNameFor(interconnect, readNumber(disk / "removable") != 0)}});
    if (!own.boolean("Writable")) continue;

    std::vector<Dict> chain{own};
    if (partition) {
      parentOf[path] = rules.pathForBsdName(disk.filename().string());
      if (const auto it = ownByName.find(disk.filename().string()); it != ownByName.end()) chain.push_back(it->second);
    } else {
      ownByName[name] = own;
    }
    const fs::path device = disk / "device";
    if (fs::exists(device, error)) chain.push_back(deviceDescription(device, interconnect, udev));
    if (!interconnect.empty()) chain.push_back(Dict{{"Protocol Characteristics", Dict{{"Physical Interconnect", interconnect}}}});
    media.responseDriveFinder.push_back(std::move(chain));
  }

  // One mount per device: the first line wins, later bind mounts repeat it.
  std::set<std::string> seen;
  for (Dict& m : mounts) {
    const std::string number = m.string("Device Number");
    const bool known = std::any_of(rules.deviceNumbers.begin(), rules.deviceNumbers.end(),
                                   [&](const auto& p) { return p.second == number; });
    if (!known || !seen.insert(number).second) continue;
    if (m.string("Mounted Path") == "/") m.set("Volume Name", "/");
    media.finalArrayForVolumes.push_back(m);
  }
  // Disks with nothing of theirs mounted have their partitions read from the map instead.
  for (const auto& [name, own] : ownByName) {
    const std::string path = rules.pathForBsdName(name);
    bool mounted = mountedNumbers.count(rules.deviceNumbers[path]) != 0;
    for (const auto& [child, parent] : parentOf)
      if (parent == path && mountedNumbers.count(rules.deviceNumbers[child])) mounted = true;
    if (!mounted)
      media.unmountedDisks.push_back(
          Dict{{"Path", path}, {"Preferred Block Size", own.uint64("Preferred Block Size")}, {"Size", own.uint64("Size")}});
  }
  return media;
}

}  // namespace nua
