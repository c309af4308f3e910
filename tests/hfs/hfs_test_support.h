// Shared by the HFS+ engine tests: kit images written to a temporary folder, a Volume opened on one
// as a partition at sector 0, a recording controller, and the tree read back by path.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/text.h"
#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "records/entry_arena.h"
#include "volume/volume.h"

namespace nua::testing {

struct KitImage {
  std::string path;
  imagekit::Manifest manifest;
  std::string error;
};

// A folder of this test process's images, removed when the process ends.
inline const std::filesystem::path& imageFolder() {
  struct Folder {
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("nua-hfs-tests-" + std::to_string(::getpid()));
    Folder() { std::filesystem::create_directories(path); }
    ~Folder() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
  };
  static const Folder folder;
  return folder.path;
}

inline KitImage makeKitImage(const std::string& scenario, std::map<std::string, std::string> values = {}) {
  KitImage image;
  const std::filesystem::path& folder = imageFolder();
  std::string name = scenario;
  for (const auto& [key, value] : values) name += "_" + key + value;
  image.path = (folder / (name + ".img")).string();
  const imagekit::Scenario* found = imagekit::findScenario(scenario);
  if (found == nullptr) {
    image.error = "no scenario " + scenario;
    return image;
  }
  imagekit::ScenarioOptions options;
  options.values = std::move(values);
  if (!found->make(image.path, options, image.manifest, image.error) && image.error.empty()) image.error = "failed";
  return image;
}

inline std::unique_ptr<Volume> openAsPartition(const std::string& path, std::uint64_t bytes,
                                               std::uint32_t sectorSize = 512) {
  return Volume::initWithDictionary(Dict{{"Volume Scan Type", 0},
                                         {"Path", path},
                                         {"Preferred Block Size", sectorSize},
                                         {"Volume Start", 0},
                                         {"Volume Size In Sectors", bytes / sectorSize},
                                         {"Content", "Apple_HFS"},
                                         {"Volume Name", "test"}},
                                    MediaContext{});
}

// Records every message a scan sends to the controller.
class RecordingController : public ScanController {
 public:
  void updateProgress(const Dict& update, bool) override {
    std::lock_guard lock(mutex);
    updates.push_back(update);
  }
  void setUpTimer() override { ++timers; }
  void invalidateTimer() override { --timers; }
  void runAlertPanel(const Alert& alert) override {
    std::lock_guard lock(mutex);
    alerts.push_back(alert);
  }
  void destroyVolumeAndBackToPartList() override { ++destroyed; }
  void rawScanCompleted() override {}
  void rawScanStarted(bool) override {}

  std::mutex mutex;
  std::vector<Dict> updates;
  std::vector<Alert> alerts;
  int timers = 0;
  int destroyed = 0;
};

inline std::string nameOf(const Entry* dir) { return toUtf8(EntryArena::fileNameOfDir(dir).value_or(u"")); }

// Every entry below root by its path from the root ("Documents/plan.txt").
inline std::map<std::string, const Entry*> entriesByPath(const Entry* root) {
  std::map<std::string, const Entry*> out;
  std::vector<std::pair<const Entry*, std::string>> stack{{root, ""}};
  while (!stack.empty()) {
    auto [dir, path] = stack.back();
    stack.pop_back();
    for (const Entry* child : dir->childList) {
      const std::string childPath = path.empty() ? nameOf(child) : path + "/" + nameOf(child);
      out[childPath] = child;
      stack.push_back({child, childPath});
    }
  }
  return out;
}

}  // namespace nua::testing
