// Volumes written by mkfs.fat and mtools, read back by the walk and checked against mdir's listing,
// fls's deleted entries and the bytes that were written.
#include <gtest/gtest.h>

#include <ctime>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "fat_test_support.h"
#include "imagekit/fat_tool_runner.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

bool toolsPresent() {
  for (const char* tool : {"mkfs.fat", "mcopy", "mmd", "mdel", "mdeltree", "mdir"})
    if (imagekit::findTool(tool).empty()) return false;
  return true;
}

std::string run(const std::vector<std::string>& arguments) {
  const imagekit::ToolRun result = imagekit::runTool(arguments);
  EXPECT_EQ(result.exitCode, 0) << arguments.front() << ": " << result.output;
  return result.output;
}

// Bytes that differ from file to file and from cluster to cluster.
std::string contentOf(int salt, std::size_t size) {
  std::string text;
  std::uint32_t state = 2654435761U * static_cast<std::uint32_t>(salt + 1);
  while (text.size() < size) {
    state = state * 1664525U + 1013904223U;
    text.push_back(static_cast<char>('a' + (state / 65536U) % 26U));
  }
  return text;
}

struct Written {
  std::string path;  // below the root
  std::string sha256;
  bool deleted = false;
  bool contiguous = true;
};

class MtoolsVolume {
 public:
  MtoolsVolume(int bits, const std::string& sizeKiB)
      : image_((testing::imageFolder() / ("mtools-fat" + std::to_string(bits) + ".img")).string()) {
    fs::remove(image_);
    run({"mkfs.fat", "-C", "-F", std::to_string(bits), "-s", "1", "-n", "MTOOLS", image_, sizeKiB});
  }
  void folder(const std::string& path) { run({"mmd", "-i", image_, "::/" + path}); }
  void file(const std::string& path, std::size_t size, int salt) {
    const std::string content = contentOf(salt, size);
    const fs::path source = testing::imageFolder() / "source.bin";
    std::ofstream(source, std::ios::binary) << content;
    run({"mcopy", "-o", "-i", image_, source.string(), "::/" + path});
    written_[path] = {path, imagekit::sha256Hex(std::as_bytes(std::span<const char>(content))), false, true};
  }
  void remove(const std::string& path, bool contiguous = true) {
    run({"mdel", "-i", image_, "::/" + path});
    written_[path].deleted = true;
    written_[path].contiguous = contiguous;
  }
  void removeTree(const std::string& path) {
    run({"mdeltree", "-i", image_, "::/" + path});
    for (auto& [p, w] : written_)
      if (p.rfind(path + "/", 0) == 0) w.deleted = true;
  }
  // A file whose clusters are reused by later writes is of no use to compare.
  void forget(const std::string& path) { written_.erase(path); }

  const std::string& image() const { return image_; }
  const std::map<std::string, Written>& written() const { return written_; }

 private:
  std::string image_;
  std::map<std::string, Written> written_;
};

struct Listed {
  bool folder = false;
  std::uint64_t size = 0;
  std::string stamp;  // "YYYY-MM-DD HH:MM" as mdir prints it
};

// "mdir -/ -a": per folder, the short name, size or <DIR>, date, time and the long name if any.
std::map<std::string, Listed> mdirListing(const std::string& image) {
  std::map<std::string, Listed> out;
  std::istringstream lines(run({"mdir", "-/", "-a", "-i", image, "::"}));
  std::string line, folder;
  const std::string header = "Directory for ::/";
  while (std::getline(lines, line)) {
    if (line.rfind(header, 0) == 0) {
      folder = line.substr(header.size());
      continue;
    }
    if (line.size() < 14 || line[8] != ' ' || line[0] == ' ' || line.rfind("Volume", 0) == 0) continue;
    std::istringstream fields(line.substr(12));
    std::string sizeOrDir, date, time;
    fields >> sizeOrDir >> date >> time;
    std::string longName;
    std::getline(fields, longName);
    longName.erase(0, longName.find_first_not_of(' '));
    std::string base = line.substr(0, 8), extension = line.substr(9, 3);
    base.erase(base.find_last_not_of(' ') + 1);
    extension.erase(extension.find_last_not_of(' ') + 1);
    if (base == "." || base == "..") continue;
    const std::string name = !longName.empty() ? longName : (extension.empty() ? base : base + "." + extension);
    Listed listed;
    listed.folder = sizeOrDir == "<DIR>";
    if (!listed.folder) listed.size = std::stoull(sizeOrDir);
    if (time.size() == 4) time = "0" + time;
    listed.stamp = date + " " + time;
    out[folder.empty() ? name : folder + "/" + name] = listed;
  }
  return out;
}

std::string stampOf(std::uint32_t hfsSeconds) {
  const std::time_t unixTime = static_cast<std::time_t>(static_cast<std::int64_t>(hfsSeconds) - 2082844800);
  std::tm local{};
  localtime_r(&unixTime, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local);
  return text;
}

// Deleted entries as fls lists them, with the unknown first letter of a short name as "_".
std::set<std::string> flsDeleted(const std::string& image) {
  std::set<std::string> out;
  std::istringstream lines(run({"fls", "-r", "-d", "-p", image}));
  std::string line;
  while (std::getline(lines, line)) {
    const auto tab = line.find('\t');
    if (tab != std::string::npos) out.insert(line.substr(tab + 1));
  }
  return out;
}

class MtoolsScenario : public ::testing::TestWithParam<int> {};

TEST_P(MtoolsScenario, TreeMatchesMdirAndFlsAndFilesSaveWhole) {
  if (!toolsPresent()) GTEST_SKIP() << "mkfs.fat or mtools missing";
  const int bits = GetParam();
  MtoolsVolume volume(bits, bits == 32 ? "34000" : (bits == 16 ? "8192" : "1024"));
  volume.folder("Projects");
  volume.folder("Projects/Old drafts");
  volume.folder("Holiday photos");
  volume.folder("Empty folder");
  volume.file("Projects/Budget for the new year.txt", 3000, 1);
  volume.file("Projects/README.TXT", 700, 2);
  volume.file("Projects/Old drafts/First draft of the letter.txt", 1500, 3);
  volume.file("Holiday photos/Beach.raw", 2600, 4);
  volume.file("Holiday photos/Sunset over the hills.raw", 4100, 5);
  volume.file("Gap A.bin", 1024, 6);
  volume.file("Gap B.bin", 1536, 7);
  volume.file("After the gaps.bin", 2048, 8);
  volume.file("notes.txt", 100, 9);
  // Deleting the two gap files and writing a larger file fragments it across both holes.
  volume.remove("Gap A.bin");
  volume.remove("Gap B.bin");
  volume.forget("Gap A.bin");
  volume.forget("Gap B.bin");
  volume.file("Fragmented across the holes.bin", 5000, 10);
  volume.remove("Projects/README.TXT");
  volume.removeTree("Holiday photos");

  auto walked = testing::walkFat(volume.image(), 0, fs::file_size(volume.image()) / 512);
  Volume& v = *walked.volume;
  ASSERT_EQ(v.volumeContent, "FAT" + std::to_string(bits));
  const auto tree = testing::entriesByPath(v.dirRoot);

  const auto listing = mdirListing(volume.image());
  ASSERT_GE(listing.size(), 8u);
  for (const auto& [path, listed] : listing) {
    const auto found = tree.find(path);
    ASSERT_NE(found, tree.end()) << path;
    EXPECT_EQ(found->second->deleted, 0) << path;
    EXPECT_EQ(found->second->fileType, listed.folder ? 1 : 2) << path;
    if (listed.folder) continue;
    EXPECT_EQ(found->second->fileSize, listed.size) << path;
    EXPECT_EQ(stampOf(found->second->modDate), listed.stamp) << path;
  }
  std::size_t liveInTree = 0;
  std::set<std::string> deletedInTree;
  for (const auto& [path, dir] : tree) {
    if (dir->deleted == 0) {
      ++liveInTree;
    } else {
      std::string shown = path;
      for (std::size_t at = 0; at < shown.size(); at = shown.find('/', at) + 1) {
        if (shown[at] == ' ') shown[at] = '_';
        if (shown.find('/', at) == std::string::npos) break;
      }
      deletedInTree.insert(shown);
    }
  }
  EXPECT_EQ(liveInTree, listing.size());
  if (!imagekit::findTool("fls").empty()) {
    EXPECT_EQ(deletedInTree, flsDeleted(volume.image()));
  }

  const fs::path saved = testing::saveAll(v, "mtools" + std::to_string(bits));
  ASSERT_FALSE(saved.empty());
  for (const auto& [path, w] : volume.written()) {
    if (w.deleted && !w.contiguous) continue;
    fs::path file = saved / path;
    if (!fs::exists(file)) file = file.parent_path() / (" " + file.filename().string().substr(1));
    EXPECT_EQ(testing::fileSha256(file), w.sha256) << path;
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, MtoolsScenario, ::testing::Values(12, 16, 32));

}  // namespace
}  // namespace nua
