// Shared by the HFS+ engine tests: kit images written to a temporary folder, a Volume opened on one
// as a partition at sector 0, a recording progress sink, and the tree read back by path.
#pragma once

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/text.h"
#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "app/scan_progress.h"
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

// Records everything a scan tells its sink. An offer stays pending, as if no tick ever came.
class RecordingSink : public ScanRunSink {
 public:
  void report(const ScanProgress& progress) override {
    std::lock_guard lock(mutex);
    updates.push_back(progress);
  }
  [[nodiscard]] bool tickPending() const override { return pending; }
  void offerForTick(const ScanProgress& progress) override {
    std::lock_guard lock(mutex);
    offers.push_back(progress);
    pending = true;
  }
  void alert(const Alert& alert) override {
    std::lock_guard lock(mutex);
    alerts.push_back(alert);
  }
  void abandonScan() override { ++abandoned; }
  void startTicks() override { ++ticking; }
  void stopTicks() override { --ticking; }
  void complete(const ScanProgress& last) override { report(last); }

  std::mutex mutex;
  std::vector<ScanProgress> updates;  // reports and the completion, in order
  std::vector<ScanProgress> offers;
  std::vector<Alert> alerts;
  std::atomic<bool> pending{false};
  int ticking = 0;
  int abandoned = 0;
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
