// JSON form of the manifest, the streaming manifest writer and the content hash.
#include "imagekit/manifest.h"

#include <openssl/evp.h>

#include <array>
#include <fstream>
#include <stdexcept>

namespace nua::imagekit {

nlohmann::json toJson(const ManifestEntry& entry) {
  nlohmann::json extents = nlohmann::json::array();
  for (const auto& [start, count] : entry.extents) extents.push_back({start, count});
  return {{"path", entry.path},          {"name", entry.name},       {"id", entry.id},
          {"folder", entry.folder},      {"size", entry.size},       {"deleted", entry.deleted},    {"reused", entry.reused},
          {"foundIn", entry.foundIn},    {"extents", extents},       {"sha256", entry.sha256},
          {"createDate", entry.createDate}, {"modDate", entry.modDate}, {"parentId", entry.parentId}};
}

namespace {

nlohmann::json volumeHeaderJson(const ManifestVolume& volume) {
  return {{"fileSystem", volume.fileSystem},   {"name", volume.name},
          {"startSector", volume.startSector}, {"sectorCount", volume.sectorCount},
          {"sectorSize", volume.sectorSize},   {"blockSize", volume.blockSize},
          {"extra", volume.extra}};
}

nlohmann::json manifestHeaderJson(const Manifest& manifest) {
  return {{"scenario", manifest.scenario},     {"seed", manifest.seed},
          {"sectorSize", manifest.sectorSize}, {"imageBytes", manifest.imageBytes},
          {"partitions", manifest.partitions}, {"extra", manifest.extra}};
}

ManifestEntry entryFromJson(const nlohmann::json& json) {
  ManifestEntry entry;
  entry.path = json.value("path", std::string());
  entry.name = json.value("name", std::string());
  entry.id = json.value("id", std::uint64_t{0});
  entry.folder = json.value("folder", false);
  entry.size = json.value("size", std::uint64_t{0});
  entry.deleted = json.value("deleted", false);
  entry.reused = json.value("reused", false);
  entry.foundIn = json.value("foundIn", std::string());
  if (json.contains("extents")) {
    for (const auto& extent : json.at("extents")) {
      entry.extents.emplace_back(extent.at(0).get<std::uint64_t>(), extent.at(1).get<std::uint64_t>());
    }
  }
  entry.sha256 = json.value("sha256", std::string());
  entry.createDate = json.value("createDate", std::uint32_t{0});
  entry.modDate = json.value("modDate", std::uint32_t{0});
  entry.parentId = json.value("parentId", std::uint64_t{0});
  return entry;
}

}  // namespace

nlohmann::json toJson(const ManifestVolume& volume) {
  nlohmann::json json = volumeHeaderJson(volume);
  json["entries"] = nlohmann::json::array();
  for (const auto& entry : volume.entries) json["entries"].push_back(toJson(entry));
  return json;
}

nlohmann::json toJson(const Manifest& manifest) {
  nlohmann::json json = manifestHeaderJson(manifest);
  json["volumes"] = nlohmann::json::array();
  for (const auto& volume : manifest.volumes) json["volumes"].push_back(toJson(volume));
  return json;
}

Manifest manifestFromJson(const nlohmann::json& json) {
  Manifest manifest;
  manifest.scenario = json.value("scenario", std::string());
  manifest.seed = json.value("seed", std::uint64_t{0});
  manifest.sectorSize = json.value("sectorSize", std::uint32_t{512});
  manifest.imageBytes = json.value("imageBytes", std::uint64_t{0});
  if (json.contains("partitions")) manifest.partitions = json.at("partitions");
  if (json.contains("extra")) manifest.extra = json.at("extra");
  if (!json.contains("volumes")) return manifest;
  for (const auto& volumeJson : json.at("volumes")) {
    ManifestVolume volume;
    volume.fileSystem = volumeJson.value("fileSystem", std::string());
    volume.name = volumeJson.value("name", std::string());
    volume.startSector = volumeJson.value("startSector", std::uint64_t{0});
    volume.sectorCount = volumeJson.value("sectorCount", std::uint64_t{0});
    volume.sectorSize = volumeJson.value("sectorSize", std::uint32_t{512});
    volume.blockSize = volumeJson.value("blockSize", std::uint32_t{0});
    if (volumeJson.contains("extra")) volume.extra = volumeJson.at("extra");
    if (volumeJson.contains("entries")) {
      for (const auto& entryJson : volumeJson.at("entries")) volume.entries.push_back(entryFromJson(entryJson));
    }
    manifest.volumes.push_back(std::move(volume));
  }
  return manifest;
}

bool writeManifestFile(const std::string& path, const Manifest& manifest, std::string& error) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) {
    error = "cannot create manifest " + path;
    return false;
  }
  // The header fields are dumped as one object with its closing brace removed, then the volumes are
  // appended entry by entry; the result parses exactly like toJson(manifest).dump(1).
  std::string head = manifestHeaderJson(manifest).dump(1);
  head.pop_back();
  out << head << ",\n \"volumes\": [";
  for (std::size_t v = 0; v < manifest.volumes.size(); ++v) {
    const ManifestVolume& volume = manifest.volumes[v];
    std::string volumeHead = volumeHeaderJson(volume).dump();
    volumeHead.pop_back();
    out << (v == 0 ? "\n  " : ",\n  ") << volumeHead << ",\"entries\":[";
    for (std::size_t e = 0; e < volume.entries.size(); ++e) {
      out << (e == 0 ? "\n   " : ",\n   ") << toJson(volume.entries[e]).dump();
    }
    out << "\n  ]}";
  }
  out << "\n ]\n}\n";
  out.flush();
  if (!out) {
    error = "cannot write manifest " + path;
    return false;
  }
  return true;
}

std::string sha256Hex(std::span<const std::byte> bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("SHA-256 unavailable in libcrypto");
  }
  static constexpr char kHexDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(length * 2);
  for (unsigned int i = 0; i < length; ++i) {
    hex.push_back(kHexDigits[digest[i] / 16]);
    hex.push_back(kHexDigits[digest[i] % 16]);
  }
  return hex;
}

}  // namespace nua::imagekit
