// Replays FAT operations through mkfs.fat and mtools, then reads the volume back for its manifest.
#include "imagekit/fat_builder.h"

#include <stdlib.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>

#include "imagekit/fat_directory.h"
#include "imagekit/fat_tool_runner.h"

namespace nua::imagekit {

namespace {

constexpr std::size_t kSparseBlockBytes = 4096;

class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "nua-fat-XXXXXX").string();
    if (::mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

bool readWholeFile(const std::string& path, std::vector<std::byte>& bytes, std::string& error) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  const std::streamoff length = in.good() ? static_cast<std::streamoff>(in.tellg()) : -1;
  if (length < 0) {
    error = "cannot read " + path;
    return false;
  }
  bytes.resize(static_cast<std::size_t>(length));
  in.seekg(0);
  in.read(reinterpret_cast<char*>(bytes.data()), length);
  if (!in.good()) {
    error = "cannot read " + path;
    return false;
  }
  return true;
}

// mtools on FAT32 allocates after the FSInfo next-free hint and so never refills a freed gap; with the
// hint unknown it searches from the start, as it always does on FAT12/16, which is what makes fragments.
bool forgetNextFreeHint(const std::string& imagePath, std::string& error) {
  std::fstream image(imagePath, std::ios::binary | std::ios::in | std::ios::out);
  std::array<char, kFatBootSectorSize> boot{};
  image.read(boot.data(), boot.size());
  if (!image.good()) {
    error = "cannot read the boot sector of " + imagePath;
    return false;
  }
  const ByteSpan bootBytes(reinterpret_cast<const std::byte*>(boot.data()), boot.size());
  const std::uint64_t fsInfo = std::uint64_t{le16(bootBytes, 48)} * le16(bootBytes, 11);
  if (le16(bootBytes, 22) != 0 || fsInfo == 0) return true;  // not FAT32, or no FSInfo sector
  std::array<std::byte, 4> unknown{};
  putLe32(unknown, 0, 0xFFFFFFFFU);
  image.seekp(static_cast<std::streamoff>(fsInfo + 492));  // FSInfo offset 492: u32 next free cluster
  image.write(reinterpret_cast<const char*>(unknown.data()), unknown.size());
  if (!image.good()) {
    error = "cannot write the FSInfo sector of " + imagePath;
    return false;
  }
  return true;
}

bool writeWholeFile(const std::string& path, const std::vector<std::byte>& bytes, std::string& error) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out.good()) {
    error = "cannot write " + path;
    return false;
  }
  return true;
}

std::string fatBits(FatKind kind) {
  return kind == FatKind::Fat12 ? "12" : (kind == FatKind::Fat16 ? "16" : "32");
}

std::string hex32(std::uint32_t value) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text(8, '0');
  for (std::size_t i = 8; i-- > 0;) {
    text[i] = kDigits[value % 16];
    value /= 16;
  }
  return text;
}

// Records every live entry's clusters and content hash, so a later deletion still knows them.
bool snapshotLiveEntries(const std::string& imagePath, FatBuild& build, std::string& error) {
  std::vector<std::byte> volume;
  if (!readWholeFile(imagePath, volume, error)) return false;
  const auto geometry = parseFatGeometry(volume, error);
  if (!geometry) return false;
  const FatWalk walk = walkFatTree(volume, *geometry, false, {});
  for (const FatWalkEntry& item : walk.entries) {
    FatDeletedRecord record;
    record.path = item.path;
    record.name = item.entry.name;
    record.clusters = item.clusters;
    if (!item.entry.isFolder()) record.originalSha256 = sha256Hex(readClusters(volume, *geometry, item.clusters, item.entry.size));
    build.deletedRecords[{item.entry.slotByteOffset, item.entry.firstCluster}] = std::move(record);
  }
  return true;
}

bool runOperation(const FatOperation& operation, const std::string& imagePath, const std::string& scratch,
                  FatBuild& build, std::string& error) {
  const std::string target = "::" + operation.path;
  if (!forgetNextFreeHint(imagePath, error)) return false;
  switch (operation.kind) {
    case FatOperation::Kind::MakeFolder:
      return runToolChecked({"mmd", "-i", imagePath, target}, error);
    case FatOperation::Kind::WriteFile: {
      const std::string source = scratch + "/content";
      if (!writeWholeFile(source, operation.content, error)) return false;
      return runToolChecked({"mcopy", "-i", imagePath, source, target}, error);
    }
    case FatOperation::Kind::Delete:
      return snapshotLiveEntries(imagePath, build, error) && runToolChecked({"mdel", "-i", imagePath, target}, error);
    case FatOperation::Kind::DeleteTree:
      return snapshotLiveEntries(imagePath, build, error) &&
             runToolChecked({"mdeltree", "-i", imagePath, target}, error);
  }
  return false;
}

std::vector<std::uint32_t> contiguousClusters(const FatGeometry& geometry, std::uint32_t first, std::uint64_t size) {
  std::vector<std::uint32_t> clusters;
  const std::uint64_t count = std::max<std::uint64_t>(1, (size + geometry.clusterBytes() - 1) / geometry.clusterBytes());
  for (std::uint64_t i = 0; i < count && geometry.validCluster(static_cast<std::uint32_t>(first + i)); ++i) {
    clusters.push_back(static_cast<std::uint32_t>(first + i));
  }
  return clusters;
}

// Live files must read back exactly as written, or the manifest would describe something else.
bool checkLiveContent(const FatBuild& build, const std::vector<FatOperation>& operations, std::string& error) {
  std::map<std::string, const std::vector<std::byte>*> expected;
  for (const FatOperation& operation : operations) {
    if (operation.kind == FatOperation::Kind::WriteFile) expected[operation.path] = &operation.content;
    if (operation.kind == FatOperation::Kind::Delete || operation.kind == FatOperation::Kind::DeleteTree) {
      for (auto it = expected.begin(); it != expected.end();) {
        const bool gone = it->first == operation.path || it->first.rfind(operation.path + "/", 0) == 0;
        it = gone ? expected.erase(it) : std::next(it);
      }
    }
  }
  for (const auto& [path, content] : expected) {
    const std::string& wanted = path;  // clang 14 can't capture a structured binding
    const auto found = std::find_if(build.manifest.entries.begin(), build.manifest.entries.end(),
                                    [&](const ManifestEntry& entry) { return !entry.deleted && "/" + entry.path == wanted; });
    if (found == build.manifest.entries.end() || found->sha256 != sha256Hex(*content)) {
      error = "FAT volume: " + path + " does not read back as written";
      return false;
    }
  }
  return true;
}

}  // namespace

void describeFatVolume(FatBuild& build) {
  const FatGeometry& geometry = build.geometry;
  const auto lookup = [&](std::uint64_t slot, std::uint32_t first) {
    const auto found = build.deletedRecords.find({slot, first});
    if (found != build.deletedRecords.end()) return found->second.clusters;
    return contiguousClusters(geometry, first, 0);
  };
  const FatWalk walk = walkFatTree(build.volume, geometry, true, lookup);
  ManifestVolume& manifest = build.manifest;
  manifest.fileSystem = fatKindName(geometry.kind);
  manifest.sectorSize = geometry.bytesPerSector;
  manifest.sectorCount = build.volume.size() / geometry.bytesPerSector;
  manifest.blockSize = geometry.clusterBytes();
  manifest.entries.clear();
  nlohmann::json deletedContent = nlohmann::json::object();
  std::map<std::string, std::uint64_t> folderIds;
  for (const FatWalkEntry& item : walk.entries) {
    ManifestEntry entry;
    entry.path = item.path.substr(1);  // manifest paths run from the root without a leading "/"
    entry.name = item.entry.name;
    const FatDeletedKey key{item.entry.slotByteOffset, item.entry.firstCluster};
    const auto record = build.deletedRecords.find(key);
    const bool deleted = item.entry.deleted || item.inDeletedFolder;
    if (deleted && record != build.deletedRecords.end()) {
      entry.path = record->second.path.substr(1);
      entry.name = record->second.name;
    }
    entry.id = item.entry.firstCluster;
    entry.folder = item.entry.isFolder();
    entry.size = entry.folder ? 0 : item.entry.size;
    entry.deleted = deleted;
    entry.foundIn = "directory";
    for (const auto& [start, count] : clusterRuns(item.clusters)) entry.extents.emplace_back(start, count);
    if (!entry.folder) entry.sha256 = sha256Hex(readClusters(build.volume, geometry, item.clusters, entry.size));
    entry.createDate = item.entry.createDate;
    entry.modDate = item.entry.modDate;
    const std::size_t slash = entry.path.rfind('/');
    const std::string parentPath = slash == std::string::npos ? std::string() : entry.path.substr(0, slash);
    const auto parent = folderIds.find(parentPath);
    entry.parentId = parent != folderIds.end() ? parent->second : geometry.rootCluster;
    if (entry.folder) folderIds[entry.path] = entry.id;
    if (deleted && !entry.folder) {
      bool inUse = false;
      for (const std::uint32_t cluster : item.clusters) inUse = inUse || fatEntry(build.volume, geometry, cluster) != 0;
      const bool sameBytes = record != build.deletedRecords.end() && record->second.originalSha256 == entry.sha256;
      deletedContent[entry.path] = {{"contiguous", clusterRuns(item.clusters).size() <= 1},
                                    {"reused", inUse || !sameBytes}};
    }
    manifest.entries.push_back(std::move(entry));
  }
  manifest.extra["deletedContent"] = deletedContent;
  manifest.extra["walkNotes"] = walk.notes;
  manifest.extra["dataStartByte"] = geometry.dataByteOffset;
  manifest.extra["sectorsPerCluster"] = geometry.sectorsPerCluster;
  manifest.extra["reservedSectors"] = geometry.reservedSectors;
  manifest.extra["sectorsPerFat"] = geometry.sectorsPerFat;
  manifest.extra["numberOfFats"] = geometry.numberOfFats;
}

bool buildFatVolume(const FatVolumePlan& plan, FatBuild& build, std::string& error) {
  ScratchFolder scratch;
  if (scratch.path().empty()) {
    error = "cannot make a scratch folder";
    return false;
  }
  const std::string imagePath = scratch.path() + "/volume.img";
  std::vector<std::string> format = {"mkfs.fat", "-F", fatBits(plan.kind), "-s", std::to_string(plan.sectorsPerCluster),
                                     "-S", std::to_string(plan.sectorSize), "-i", hex32(plan.volumeId), "--invariant",
                                     "-n", plan.label};
  format.insert(format.end(), plan.formatOptions.begin(), plan.formatOptions.end());
  format.insert(format.end(), {"-C", imagePath, std::to_string(plan.sizeKiB)});
  if (!runToolChecked(format, error)) return false;
  build = FatBuild{};
  for (const FatOperation& operation : plan.operations) {
    if (!runOperation(operation, imagePath, scratch.path(), build, error)) return false;
  }
  if (!readWholeFile(imagePath, build.volume, error)) return false;
  const auto geometry = parseFatGeometry(build.volume, error);
  if (!geometry) return false;
  build.geometry = *geometry;
  if (build.geometry.kind != plan.kind) {
    error = std::string("mkfs.fat made ") + fatKindName(build.geometry.kind) + " instead of " + fatKindName(plan.kind);
    return false;
  }
  // mtools stamps the wall clock; every entry gets dates from the seed instead.
  const FatWalk walk = walkFatTree(build.volume, build.geometry, true, [&](std::uint64_t slot, std::uint32_t first) {
    const auto found = build.deletedRecords.find({slot, first});
    return found != build.deletedRecords.end() ? found->second.clusters : contiguousClusters(build.geometry, first, 0);
  });
  stampFatDates(build.volume, walk.shortSlots, plan.seed);
  // mkfs.fat --invariant puts its own serial in; the plan's serial goes in the boot sector and its backup.
  const std::size_t serialOffset = build.geometry.kind == FatKind::Fat32 ? 67 : 39;
  putLe32(build.volume, serialOffset, plan.volumeId);
  if (build.geometry.kind == FatKind::Fat32) {
    const std::uint64_t backup = std::uint64_t{le16(build.volume, 50)} * build.geometry.bytesPerSector;
    if (backup != 0 && fits(build.volume.size(), static_cast<std::size_t>(backup) + serialOffset, 4)) {
      putLe32(build.volume, static_cast<std::size_t>(backup) + serialOffset, plan.volumeId);
    }
  }
  build.manifest.name = plan.label;
  build.manifest.extra["volumeId"] = plan.volumeId;
  describeFatVolume(build);
  return checkLiveContent(build, plan.operations, error);
}

void writeFatVolume(const FatBuild& build, ImageWriter& out, std::uint64_t byteOffset) {
  const std::span<const std::byte> all(build.volume);
  for (std::size_t at = 0; at < all.size(); at += kSparseBlockBytes) {
    const auto block = all.subspan(at, std::min(kSparseBlockBytes, all.size() - at));
    if (std::any_of(block.begin(), block.end(), [](std::byte b) { return b != std::byte{0}; })) out.write(byteOffset + at, block);
  }
}

std::vector<std::byte> fatSampleContent(std::uint64_t seed, std::size_t lengthBytes) {
  static constexpr char kWords[][8] = {"sector", "cluster", "folder", "record", "volume", "chain", "entry", "table"};
  std::vector<std::byte> bytes;
  bytes.reserve(lengthBytes);
  std::uint64_t state = seed * 0x9E3779B97F4A7C15ULL + 1;
  while (bytes.size() < lengthBytes) {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    const char* word = kWords[(state / 0x100000000ULL) % 8];
    for (const char* c = word; *c != 0 && bytes.size() < lengthBytes; ++c) bytes.push_back(static_cast<std::byte>(*c));
    if (bytes.size() < lengthBytes) bytes.push_back(static_cast<std::byte>((state / 0x10000ULL) % 16 == 0 ? '\n' : ' '));
  }
  return bytes;
}

}  // namespace nua::imagekit
