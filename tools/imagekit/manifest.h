// The manifest every generated image comes with: which volumes it holds and, per volume, every entry
// written (live or deleted) with its location, extents and content hash, so readers can be checked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace nua::imagekit {

struct ManifestEntry {
  std::string path;  // names from the volume root down joined by "/"; the root itself is ""
  std::string name;
  std::uint64_t id = 0;  // CNID or first cluster
  bool folder = false;
  std::uint64_t size = 0;  // logical size in bytes; 0 for folders
  bool deleted = false;
  bool reused = false;  // deleted, and some of its blocks now belong to a live file
  std::string foundIn;  // where a reader finds the record: "catalog", "journal", "free-space", "fat", ...
  std::vector<std::pair<std::uint64_t, std::uint64_t>> extents;  // [startBlock, blockCount] in blocks or clusters
  std::string sha256;  // hex digest of the content; empty for folders
  std::uint32_t createDate = 0, modDate = 0;  // raw on-disk form
  std::uint64_t parentId = 0;
};

struct ManifestVolume {
  std::string fileSystem;  // "HFS+", "HFSX", "FAT12", ...
  std::string name;
  std::uint64_t startSector = 0;
  std::uint64_t sectorCount = 0;
  std::uint32_t sectorSize = 512;
  std::uint32_t blockSize = 0;  // bytes per allocation block or cluster
  std::vector<ManifestEntry> entries;
  nlohmann::json extra = nlohmann::json::object();
};

struct Manifest {
  std::string scenario;
  std::uint64_t seed = 0;
  std::uint32_t sectorSize = 512;
  std::uint64_t imageBytes = 0;
  std::vector<ManifestVolume> volumes;
  nlohmann::json partitions = nlohmann::json::array();  // filled by the partition-map writers
  nlohmann::json extra = nlohmann::json::object();
};

[[nodiscard]] nlohmann::json toJson(const ManifestEntry& entry);
[[nodiscard]] nlohmann::json toJson(const ManifestVolume& volume);
[[nodiscard]] nlohmann::json toJson(const Manifest& manifest);

// Reads a manifest back; missing fields keep their defaults, and a field of the wrong type throws
// nlohmann::json::exception, since a manifest is our own output rather than untrusted disk bytes.
[[nodiscard]] Manifest manifestFromJson(const nlohmann::json& json);

// Writes the manifest as indented JSON one entry at a time, so million-entry volumes never exist as
// one JSON tree in memory. Returns false with `error` set when the file cannot be written.
[[nodiscard]] bool writeManifestFile(const std::string& path, const Manifest& manifest, std::string& error);

// Lowercase hex SHA-256 of the bytes.
[[nodiscard]] std::string sha256Hex(std::span<const std::byte> bytes);

}  // namespace nua::imagekit
