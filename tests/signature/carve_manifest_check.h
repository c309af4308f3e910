// Compares what a signature search registered with the manifest of a kit "carve-" image: the files
// planted on it, and the carved files of a result tree or of `nua-recover scan --json` output.
#pragma once

#include <cstdint>
#include <istream>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/text.h"
#include "records/entry.h"
#include "records/entry_arena.h"

namespace nua::carvetest {

// One file the scenario planted, as its manifest's extra "planted" lists it.
struct PlantedFile {
  std::string name;
  std::string format;  // "jpg", "aiff", ...
  std::string state;   // "live", "deleted", "embedded", "fragmented", "decoy"
  std::uint64_t startSector = 0;  // on the image
  std::uint64_t lengthBytes = 0;
  std::string sha256;
  bool deleted = false;  // in free space on its volume
};

inline std::vector<PlantedFile> plantedFiles(const nlohmann::json& manifestExtra) {
  std::vector<PlantedFile> out;
  for (const auto& p : manifestExtra.at("planted")) {
    out.push_back({p.at("name"), p.at("format"), p.at("state"), p.at("startSector"), p.at("lengthBytes"), p.at("sha256"),
                   p.at("deleted")});
  }
  return out;
}

// One carved file of a result: its folder's name, its own name, where it starts on the image, and the
// size it was given.
struct CarvedFile {
  std::string folder;
  std::string name;
  std::uint64_t startSector = 0;
  std::uint64_t sizeBytes = 0;
};

// The files directly inside the root's folders (carved finds sit one level down), with their first
// extent made absolute by `volumeStartSector`.
inline std::vector<CarvedFile> carvedFilesOfTree(const Entry* root, std::uint64_t volumeStartSector) {
  std::vector<CarvedFile> out;
  for (const Entry* folder : root->childList) {
    for (const Entry* file : folder->childList) {
      if (file->fileType != 2 || file->dataExt.empty()) continue;
      out.push_back({toUtf8(*EntryArena::fileNameOfDir(folder)), toUtf8(*EntryArena::fileNameOfDir(file)),
                     volumeStartSector + file->blockBaseSector + file->dataExt[0].startBlock * file->sectorsPerBlock,
                     file->fileSize});
    }
  }
  return out;
}

// The same from the JSON Lines `nua-recover scan --json` prints ("Root/jpg files/File1.jpg").
inline std::vector<CarvedFile> carvedFilesOfScanJson(std::istream& lines, std::uint64_t volumeStartSector) {
  std::vector<CarvedFile> out;
  std::string line;
  while (std::getline(lines, line)) {
    const auto row = nlohmann::json::parse(line, nullptr, false);
    if (!row.is_object() || !row.contains("path") || row.value("folder", true)) continue;
    const std::string path = row.at("path");
    const auto slash = path.rfind('/');
    const auto before = slash == std::string::npos ? std::string::npos : path.rfind('/', slash - 1);
    if (before == std::string::npos || row.at("extents").empty()) continue;
    const std::uint64_t first = row.at("extents")[0][0];
    out.push_back({path.substr(before + 1, slash - before - 1), path.substr(slash + 1),
                   volumeStartSector + row.value("blockBaseSector", std::uint64_t{0}) +
                       first * row.value("sectorsPerBlock", std::uint64_t{1}),
                   row.at("size")});
  }
  return out;
}

// Where the carved files and the planted ones disagree: planted files expected but not found, and
// finds at a sector where nothing was planted.
struct ManifestComparison {
  std::vector<PlantedFile> missing;
  std::vector<CarvedFile> unplanted;
  std::map<std::uint64_t, CarvedFile> foundAt;  // by start sector
};

// `expected` chooses the planted files a search must find (by state, say); a find at the start of a
// planted file that was not expected is neither missing nor unplanted: the caller judges it.
template <typename Expected>
ManifestComparison compareWithPlanted(const std::vector<CarvedFile>& carved, const std::vector<PlantedFile>& planted,
                                      Expected expected) {
  ManifestComparison result;
  std::map<std::uint64_t, const PlantedFile*> plantedAt;
  for (const PlantedFile& p : planted) plantedAt[p.startSector] = &p;
  for (const CarvedFile& c : carved) {
    result.foundAt[c.startSector] = c;
    if (plantedAt.count(c.startSector) == 0) result.unplanted.push_back(c);
  }
  for (const PlantedFile& p : planted) {
    if (expected(p) && result.foundAt.count(p.startSector) == 0) result.missing.push_back(p);
  }
  return result;
}

}  // namespace nua::carvetest
