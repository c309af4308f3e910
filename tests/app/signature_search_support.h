// Shared pieces of the signature search tests: images in a folder of their own, the carved files of
// a tree read back from the image and matched to known photos, the photo rows, and a recording sink.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "app/scan_progress.h"
#include "app/scan_launcher.h"
#include "base/text.h"
#include "imagekit/manifest.h"
#include "volume/volume.h"

namespace nua::searchtest {

namespace fs = std::filesystem;

inline const fs::path& imageFolder() {
  struct Folder {
    fs::path path = fs::temp_directory_path() / ("nua-signature-search-" + std::to_string(::getpid()));
    Folder() { fs::create_directories(path); }
    ~Folder() {
      std::error_code ignored;
      fs::remove_all(path, ignored);
    }
  };
  static const Folder folder;
  return folder.path;
}

// A photo the image holds: its size and content hash.
struct Photo {
  std::uint64_t size = 0;
  std::string sha256;
  bool operator<(const Photo& other) const { return sha256 < other.sha256; }
  bool operator==(const Photo& other) const { return sha256 == other.sha256; }
};

// A carved file as the tree shows it, where it starts, and the known photo its bytes begin with
// (empty hash when none: a find must hold a whole photo, though a check may measure a margin past it).
struct Carved {
  std::string folder;
  std::string name;
  std::uint64_t absoluteSector = 0;
  Photo photo;
};

inline std::vector<Carved> carvedFiles(const Volume& volume, const std::string& imagePath, const std::set<Photo>& known,
                                const std::set<std::string>& folderTitles) {
  std::vector<Carved> out;
  std::ifstream image(imagePath, std::ios::binary);
  for (const Entry* folder : volume.dirRoot->childList) {
    const std::string title = toUtf8(EntryArena::fileNameOfDir(folder).value_or(u""));
    if (folderTitles.count(title) == 0) continue;
    for (const Entry* file : folder->childList) {
      Carved carved;
      carved.folder = title;
      carved.name = toUtf8(EntryArena::fileNameOfDir(file).value_or(u""));
      if (file->dataExt.empty()) continue;
      carved.absoluteSector = volume.HPlusVolStart + file->blockBaseSector + file->dataExt.front().startBlock;
      std::vector<std::byte> bytes(file->fileSize);
      image.clear();
      image.seekg(static_cast<std::streamoff>(carved.absoluteSector * 512));
      image.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
      for (const Photo& photo : known) {
        if (photo.size > bytes.size()) continue;
        if (imagekit::sha256Hex(std::span(bytes).first(photo.size)) == photo.sha256) carved.photo = photo;
      }
      out.push_back(carved);
    }
  }
  return out;
}

inline std::set<Photo> photosOf(const std::vector<Carved>& files) {
  std::set<Photo> out;
  for (const Carved& file : files) out.insert(file.photo);
  return out;
}

// The catalog's JPEG and PNG rows: served by the format checks (plain searches) or, with typeOfFile 1,
// by the file checks (photo searches).
inline SigSelArray photoSignatures(bool fileChecks) {
  SigSelArray marked;
  for (const auto& [extension, header, length, type] :
       {std::tuple<const char*, std::uint64_t, std::uint8_t, std::uint32_t>{"jpg", 0xFFD8FF, 3, 3},
        {"png", 0x89504E470D0A1A0AULL, 8, 6}}) {
    auto node = std::make_shared<SigNode>();
    node->fileTypeSigNode = SigNode::kFileTypeNode;
    node->selected = 1;
    node->sig = std::make_shared<Sig>();
    node->sig->extension = extension;
    node->sig->header = header;
    node->sig->headerLength = length;
    node->sig->typeOfFile = fileChecks ? 1 : type;
    node->sig->defaultSize = 20;
    marked.push_back(node);
  }
  return marked;
}

// The folders a method's finds go into: by extension (plain) or by format (with the file checks).
inline std::set<std::string> carvedFolders(std::int64_t method) {
  return method == 0 ? std::set<std::string>{"jpg files", "png files"} : std::set<std::string>{"JPG Files", "PNG Files"};
}

// Records what a scan shows; stops the scan once it has found `stopAfterFiles` files when asked to.
class RecordingSink final : public ScanRunSink {
 public:
  void report(const ScanProgress& progress) override { reports.push_back(progress); }
  [[nodiscard]] bool tickPending() const override { return false; }
  void offerForTick(const ScanProgress& progress) override {
    offers.push_back(progress);
    if (stopVolume != nullptr && progress.counts && progress.counts->files >= stopAfterFiles) {
      stopVolume->setStopTreeThread(true);
    }
  }
  void alert(const Alert& alert) override { alerts.push_back(alert.text); }
  void abandonScan() override {}
  void startTicks() override {}
  void stopTicks() override {}
  void complete(const ScanProgress& last) override { completion = last; }

  std::vector<ScanProgress> reports, offers;
  std::vector<std::string> alerts;
  std::optional<ScanProgress> completion;
  Volume* stopVolume = nullptr;
  std::uint64_t stopAfterFiles = 0;
};

inline std::unique_ptr<Volume> volumeAt(const std::string& path, std::uint64_t start, std::uint64_t sectors,
                                 const char* content) {
  return Volume::initWithDictionary(Dict{{"Volume Scan Type", 0}, {"Path", path}, {"Volume Start", start},
                                         {"Volume Size In Sectors", sectors}, {"Content", content},
                                         {"Volume Name", "Test"}},
                                    MediaContext{});
}

}  // namespace nua::searchtest
