#include "imagekit/exfat_writer.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "base/bytes.h"
#include "base/text.h"
#include "imagekit/fat_tool_runner.h"

namespace nua::imagekit {
namespace {

constexpr std::size_t kEntry = 32;
constexpr std::uint8_t kFile = 0x85, kStream = 0xC0, kName = 0xC1, kBitmap = 0x81, kUpcase = 0x82;
constexpr std::uint8_t kUtcPlusTwoHours = 0x80 | 8;  // valid, eight 15-minute steps east

std::uint16_t rotateAdd16(std::uint16_t sum, std::uint8_t value) {
  return static_cast<std::uint16_t>((sum % 2U != 0 ? 0x8000U : 0U) + sum / 2U + value);
}

std::uint64_t powerOfTwo(unsigned shift) {
  std::uint64_t value = 1;
  for (unsigned i = 0; i < shift; ++i) value *= 2;
  return value;
}

}  // namespace

std::uint32_t exfatPackedTimestamp(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                                   unsigned second) {
  const std::uint32_t date = (year - 1980U) * 512U + month * 32U + day;
  const std::uint32_t time = hour * 2048U + minute * 32U + second / 2U;
  return date * 65536U + time;
}

bool ExfatWriter::format(const std::string& scratchPath, std::uint64_t sizeBytes, std::uint32_t clusterBytes,
                         const std::string& label, std::string& error) {
  {
    std::ofstream blank(scratchPath, std::ios::binary | std::ios::trunc);
    blank.close();
  }
  if (::truncate(scratchPath.c_str(), static_cast<off_t>(sizeBytes)) != 0) {
    error = "cannot size " + scratchPath;
    return false;
  }
  if (!runToolChecked({"mkfs.exfat", "-c", std::to_string(clusterBytes), "-L", label, scratchPath}, error)) return false;
  std::ifstream in(scratchPath, std::ios::binary);
  std::vector<char> raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  image_.assign(raw.size(), std::byte{0});
  std::transform(raw.begin(), raw.end(), image_.begin(), [](char c) { return static_cast<std::byte>(c); });
  if (image_.size() < 4096) {
    error = "mkfs.exfat wrote no volume";
    return false;
  }
  sectorBytes_ = static_cast<std::uint32_t>(powerOfTwo(u8(image_, 108)));
  clusterBytes_ = static_cast<std::uint32_t>(powerOfTwo(u8(image_, 108) + u8(image_, 109)));
  fatByte_ = std::uint64_t{le32(image_, 80)} * sectorBytes_;
  heapByte_ = std::uint64_t{le32(image_, 88)} * sectorBytes_;
  clusterCount_ = le32(image_, 92);
  const std::uint32_t root = le32(image_, 96);
  folders_[""] = root;
  upcaseTable_.resize(65536);
  for (std::size_t i = 0; i < upcaseTable_.size(); ++i) upcaseTable_[i] = static_cast<char16_t>(i);
  for (std::uint64_t at = clusterByte(root); at < clusterByte(root) + clusterBytes_; at += kEntry) {
    const std::uint8_t type = u8(image_, at);
    if (type == kBitmap) bitmapCluster_ = le32(image_, at + 20);
    if (type == kUpcase) {
      // The table as mkfs writes it: runs of identity mappings are 0xFFFF followed by their length.
      const std::uint64_t start = clusterByte(le32(image_, at + 20));
      const std::uint64_t units = le64(image_, at + 24) / 2;
      std::size_t next = 0;
      for (std::uint64_t i = 0; i < units && next < upcaseTable_.size(); ++i) {
        const std::uint16_t unit = le16(image_, start + 2 * i);
        if (unit == 0xFFFF && i + 1 < units) {
          next += le16(image_, start + 2 * (++i));
          continue;
        }
        upcaseTable_[next++] = static_cast<char16_t>(unit);
      }
    }
  }
  manifest_ = ManifestVolume{};
  manifest_.fileSystem = "exFAT";
  manifest_.name = label;
  manifest_.sectorSize = sectorBytes_;
  manifest_.sectorCount = image_.size() / sectorBytes_;
  manifest_.blockSize = clusterBytes_;
  if (bitmapCluster_ == 0) error = "mkfs.exfat wrote no allocation bitmap";
  return bitmapCluster_ != 0;
}

std::uint64_t ExfatWriter::clusterByte(std::uint32_t cluster) const {
  return heapByte_ + std::uint64_t{cluster - 2U} * clusterBytes_;
}

char16_t ExfatWriter::upcase(char16_t unit) const { return upcaseTable_[unit]; }

void ExfatWriter::setBitmap(std::uint32_t cluster, bool used) {
  const std::uint64_t index = cluster - 2U;
  const std::uint64_t at = clusterByte(bitmapCluster_) + index / 8U;
  const auto bit = static_cast<std::uint8_t>(powerOfTwo(static_cast<unsigned>(index % 8U)));
  std::uint8_t value = u8(image_, at);
  value = used ? static_cast<std::uint8_t>(value | bit) : static_cast<std::uint8_t>(value & ~bit);
  put8(image_, at, value);
}

void ExfatWriter::setFat(std::uint32_t cluster, std::uint32_t value) {
  putLe32(image_, fatByte_ + std::uint64_t{cluster} * 4U, value);
}

std::vector<std::uint32_t> ExfatWriter::allocate(std::uint64_t count, ExfatLayout layout) {
  const auto isFree = [this](std::uint32_t cluster) {
    const std::uint64_t index = cluster - 2U;
    std::uint8_t bits = u8(image_, clusterByte(bitmapCluster_) + index / 8U);
    for (std::uint64_t i = 0; i < index % 8U; ++i) bits = static_cast<std::uint8_t>(bits / 2U);
    return bits % 2U == 0;
  };
  std::vector<std::uint32_t> clusters;
  const std::uint32_t last = clusterCount_ + 1U;
  if (layout == ExfatLayout::kContiguous) {
    for (std::uint32_t start = 2; start + count - 1 <= last; ++start) {
      std::uint64_t run = 0;
      while (run < count && isFree(static_cast<std::uint32_t>(start + run))) ++run;
      if (run == count) {
        for (std::uint64_t i = 0; i < count; ++i) clusters.push_back(static_cast<std::uint32_t>(start + i));
        break;
      }
      start += static_cast<std::uint32_t>(run);
    }
  } else {
    bool take = true;
    for (std::uint32_t c = 2; c <= last && clusters.size() < count; ++c) {
      if (!isFree(c)) continue;
      if (take) clusters.push_back(c);
      take = !take;  // every other free cluster, so the file can't be read as one run
    }
  }
  if (clusters.size() != count) return {};
  for (std::uint32_t c : clusters) setBitmap(c, true);
  return clusters;
}

bool ExfatWriter::place(const std::string& parentPath, const std::string& name, bool folder,
                        const std::vector<std::byte>& content, ExfatLayout layout, std::string& error) {
  const auto parent = folders_.find(parentPath);
  if (parent == folders_.end()) {
    error = "no folder " + parentPath;
    return false;
  }
  const std::u16string units = toUtf16(name);
  const std::size_t nameEntries = (units.size() + 14) / 15;
  const std::size_t count = 2 + nameEntries;
  // The first run of free slots behind the last entry; directories are one cluster.
  const std::uint64_t dirStart = clusterByte(parent->second);
  std::uint64_t slot = dirStart;
  while (slot < dirStart + clusterBytes_ && u8(image_, slot) != 0) slot += kEntry;
  if (slot + count * kEntry > dirStart + clusterBytes_) {
    error = "directory " + parentPath + " is full";
    return false;
  }
  const std::uint64_t dataLength = folder ? clusterBytes_ : content.size();
  const std::uint64_t clusterCount = (dataLength + clusterBytes_ - 1) / clusterBytes_;
  std::vector<std::uint32_t> clusters;
  if (clusterCount != 0) {
    clusters = allocate(clusterCount, folder ? ExfatLayout::kContiguous : layout);
    if (clusters.empty()) {
      error = "no room for " + name;
      return false;
    }
  }
  const bool contiguous = folder || layout == ExfatLayout::kContiguous;
  if (!contiguous) {
    for (std::size_t i = 0; i < clusters.size(); ++i)
      setFat(clusters[i], i + 1 < clusters.size() ? clusters[i + 1] : 0xFFFFFFFFU);
  }
  std::vector<std::byte> data(clusters.size() * clusterBytes_, std::byte{0});
  std::copy(content.begin(), content.end(), data.begin());
  for (std::size_t i = 0; i < clusters.size(); ++i)
    std::copy_n(data.begin() + static_cast<std::ptrdiff_t>(i * clusterBytes_), clusterBytes_,
                image_.begin() + static_cast<std::ptrdiff_t>(clusterByte(clusters[i])));

  std::vector<std::byte> set(count * kEntry, std::byte{0});
  const std::uint32_t modified = exfatPackedTimestamp(2023, 5, 17, 14, 32, 10) + stamp_ * 32U;  // a minute apart
  const std::uint32_t created = exfatPackedTimestamp(2021, 11, 3, 9, 5, 20) + stamp_ * 32U;
  ++stamp_;
  put8(set, 0, kFile);
  put8(set, 1, static_cast<std::uint8_t>(count - 1));
  putLe16(set, 4, folder ? 0x10 : 0x20);
  putLe32(set, 8, created);
  putLe32(set, 12, modified);
  putLe32(set, 16, modified);
  put8(set, 20, 150);  // 1.5 s past the even second
  put8(set, 21, 0);
  put8(set, 22, kUtcPlusTwoHours);
  put8(set, 23, kUtcPlusTwoHours);
  put8(set, 24, kUtcPlusTwoHours);
  put8(set, kEntry, kStream);
  put8(set, kEntry + 1, static_cast<std::uint8_t>(clusterCount != 0 ? (contiguous ? 0x03 : 0x01) : 0x00));
  put8(set, kEntry + 3, static_cast<std::uint8_t>(units.size()));
  std::uint16_t hash = 0;
  for (char16_t unit : units) {
    const char16_t up = upcase(unit);
    hash = rotateAdd16(hash, static_cast<std::uint8_t>(up % 256U));
    hash = rotateAdd16(hash, static_cast<std::uint8_t>(up / 256U));
  }
  putLe16(set, kEntry + 4, hash);
  putLe64(set, kEntry + 8, dataLength);
  putLe32(set, kEntry + 20, clusters.empty() ? 0 : clusters.front());
  putLe64(set, kEntry + 24, dataLength);
  for (std::size_t n = 0; n < nameEntries; ++n) {
    put8(set, (2 + n) * kEntry, kName);
    for (std::size_t u = 0; u < 15 && n * 15 + u < units.size(); ++u)
      putLe16(set, (2 + n) * kEntry + 2 + 2 * u, units[n * 15 + u]);
  }
  std::uint16_t checksum = 0;
  for (std::size_t i = 0; i < set.size(); ++i)
    if (i != 2 && i != 3) checksum = rotateAdd16(checksum, u8(set, i));
  putLe16(set, 2, checksum);
  std::copy(set.begin(), set.end(), image_.begin() + static_cast<std::ptrdiff_t>(slot));

  const std::string path = parentPath.empty() ? name : parentPath + "/" + name;
  ManifestEntry entry;
  entry.path = path;
  entry.name = name;
  entry.id = clusters.empty() ? 0 : clusters.front();
  entry.folder = folder;
  entry.size = folder ? 0 : content.size();
  entry.foundIn = "exfat";
  for (std::uint32_t c : clusters) {
    if (!entry.extents.empty() && entry.extents.back().first + entry.extents.back().second == c)
      ++entry.extents.back().second;
    else
      entry.extents.emplace_back(c, 1);
  }
  if (!folder) entry.sha256 = sha256Hex(content);
  entry.createDate = created;
  entry.modDate = modified;
  entry.parentId = parent->second;
  manifest_.entries.push_back(entry);
  live_[path] = Placed{manifest_.entries.size() - 1, slot, count, clusters, folder};
  if (folder) folders_[path] = clusters.front();
  return true;
}

bool ExfatWriter::addFolder(const std::string& parentPath, const std::string& name, std::string& error) {
  return place(parentPath, name, true, {}, ExfatLayout::kContiguous, error);
}

bool ExfatWriter::addFile(const std::string& parentPath, const std::string& name,
                          const std::vector<std::byte>& content, ExfatLayout layout, std::string& error) {
  return place(parentPath, name, false, content, layout, error);
}

bool ExfatWriter::remove(const std::string& path, ExfatDeletion how, std::string& error) {
  const auto found = live_.find(path);
  if (found == live_.end()) {
    error = "no live entry " + path;
    return false;
  }
  if (found->second.folder) {
    std::vector<std::string> children;
    for (const auto& [childPath, placed] : live_)
      if (childPath.rfind(path + "/", 0) == 0 && childPath.find('/', path.size() + 1) == std::string::npos)
        children.push_back(childPath);
    for (const std::string& child : children)
      if (!remove(child, how, error)) return false;
  }
  const Placed placed = live_.at(path);
  for (std::size_t i = 0; i < placed.entryCount; ++i) {
    const std::uint64_t at = placed.entryByte + i * kEntry;
    put8(image_, at, static_cast<std::uint8_t>(u8(image_, at) & 0x7FU));
  }
  for (std::uint32_t c : placed.clusters) {
    setBitmap(c, false);
    if (how == ExfatDeletion::kWindows) setFat(c, 0);
  }
  manifest_.entries[placed.manifestIndex].deleted = true;
  live_.erase(path);
  folders_.erase(path);
  return true;
}

void ExfatWriter::damageMainBootSector() {
  std::fill_n(image_.begin(), std::min<std::size_t>(sectorBytes_, image_.size()), std::byte{0});
}

}  // namespace nua::imagekit
