// The benchmark disk: a pool of distinct files (four seeds' samples and JPEGs from small to large)
// placed in turn at sector starts, with a seeded gap of filler after each, until the image is full.
// Every 16th place takes a decoy and every 64th a JPEG in two pieces, as on the small carve disk.
#include "imagekit/carve_sized_disk.h"

#include <algorithm>

#include "imagekit/carve_samples.h"
#include "imagekit/image_file.h"

namespace nua::imagekit {

namespace {

constexpr std::uint64_t kSectorSize = 512;
constexpr std::uint64_t kMiB = 1024 * 1024;
constexpr std::uint64_t kSampleSeeds = 4;
// JPEGs of every size a camera card holds in small: 20 KB up to about 600 KB.
constexpr std::uint32_t kJpegSizes[] = {20000, 45000, 90000, 160000, 300000, 600000};
constexpr std::uint64_t kDecoyEvery = 16;
constexpr std::uint64_t kFragmentedEvery = 64;
constexpr std::uint64_t kFragmentGapSectors = 24;
// Gaps of 16 to 1039 sectors (8 KiB to about 520 KiB) between files.
constexpr std::uint64_t kGapMinSectors = 16;
constexpr std::uint64_t kGapSpreadSectors = 1024;
constexpr std::size_t kFillerPoolBytes = 4 * kMiB;

std::uint64_t nextRandom(std::uint64_t& state) {
  state = state * 6364136223846793005ULL + 1442695040888963407ULL;
  return state >> 33U;
}

std::uint64_t sectorsFor(std::uint64_t bytes) { return (bytes + kSectorSize - 1) / kSectorSize; }

// Writes filler from the pool over [fromSector, toSector), starting at a seeded place in the pool.
void writeFiller(ImageWriter& out, const std::vector<std::byte>& pool, std::uint64_t& state, std::uint64_t fromSector,
                 std::uint64_t toSector) {
  std::uint64_t at = fromSector * kSectorSize;
  const std::uint64_t end = toSector * kSectorSize;
  while (at < end) {
    const std::size_t length = static_cast<std::size_t>(std::min<std::uint64_t>(end - at, pool.size() / 2));
    const std::size_t start = static_cast<std::size_t>(nextRandom(state) % (pool.size() - length + 1));
    out.write(at, std::span(pool).subspan(start, length));
    at += length;
  }
}

// Writes `bytes` at `sector` and zeros to the end of its last sector.
void writeSectors(ImageWriter& out, std::uint64_t sector, std::span<const std::byte> bytes) {
  out.write(sector * kSectorSize, bytes);
  const std::vector<std::byte> tail(sectorsFor(bytes.size()) * kSectorSize - bytes.size());
  if (!tail.empty()) out.write(sector * kSectorSize + bytes.size(), tail);
}

nlohmann::json plantedJson(std::uint64_t copy, const CarveSample& file, const std::string& state, std::uint64_t sector,
                           const std::string& sha256) {
  return {{"name", std::to_string(copy) + " " + file.name},
          {"format", file.format},
          {"state", state},
          {"startSector", sector},
          {"lengthBytes", file.bytes.size()},
          {"sha256", sha256},
          {"deleted", false},
          {"volume", -1}};
}

}  // namespace

bool makeSizedCarveDisk(const std::string& outPath, std::uint64_t sizeMiB, const ScenarioOptions& options,
                        Manifest& manifest, std::string& error) {
  if (sizeMiB < kSizedCarveDiskMinMiB || sizeMiB > 1024 * 1024) {
    error = "size-mib must be between " + std::to_string(kSizedCarveDiskMinMiB) + " and 1048576";
    return false;
  }
  std::vector<CarveSample> pool;
  std::vector<std::string> missing;
  for (std::uint64_t s = 0; s < kSampleSeeds; ++s) {
    missing.clear();
    if (!makeCarveSamples(options.seed + s, pool, missing, error)) return false;
  }
  manifest.extra["formatsWithoutTool"] = missing;
  for (std::size_t i = 0; i < std::size(kJpegSizes); ++i) {
    pool.push_back({"jpg", "camera " + std::to_string(i) + ".jpg", carveJpeg(options.seed * 97 + i, kJpegSizes[i])});
  }
  std::vector<std::string> poolHashes;
  for (const CarveSample& file : pool) poolHashes.push_back(sha256Hex(file.bytes));
  const std::vector<CarveSample> decoys = makeCarveDecoys(options.seed, 6000);
  const CarveSample fragmented{"jpg", "in two pieces.jpg", carveJpeg(options.seed * 31 + 13, 30000)};
  const std::size_t firstPieceBytes = fragmented.bytes.size() / 2 / kSectorSize * kSectorSize;
  const std::string fragmentedHash = sha256Hex(fragmented.bytes);
  const std::vector<std::byte> filler = carveFiller(options.seed, kFillerPoolBytes);

  const std::uint64_t totalSectors = sizeMiB * kMiB / kSectorSize;
  ImageWriter out(outPath, totalSectors * kSectorSize);
  std::uint64_t state = options.seed * 0x9E3779B97F4A7C15ULL + 11;
  nlohmann::json planted = nlohmann::json::array();
  std::uint64_t sector = 64;
  writeFiller(out, filler, state, 0, sector);
  std::size_t nextSample = 0;
  for (std::uint64_t place = 1;; ++place) {
    const std::uint64_t gap = kGapMinSectors + nextRandom(state) % kGapSpreadSectors;
    if (place % kFragmentedEvery == 0) {
      const auto first = std::span(fragmented.bytes).first(firstPieceBytes);
      const auto second = std::span(fragmented.bytes).subspan(firstPieceBytes);
      const std::uint64_t need = sectorsFor(first.size()) + kFragmentGapSectors + sectorsFor(second.size()) + gap;
      if (need > totalSectors - sector) break;
      planted.push_back(plantedJson(place, fragmented, "fragmented", sector, fragmentedHash));
      writeSectors(out, sector, first);
      sector += sectorsFor(first.size());
      writeFiller(out, filler, state, sector, sector + kFragmentGapSectors);
      sector += kFragmentGapSectors;
      writeSectors(out, sector, second);
      sector += sectorsFor(second.size());
    } else if (place % kDecoyEvery == 0) {
      const CarveSample& decoy = decoys[place / kDecoyEvery % decoys.size()];
      if (sectorsFor(decoy.bytes.size()) + gap > totalSectors - sector) break;
      planted.push_back(plantedJson(place, decoy, "decoy", sector, sha256Hex(decoy.bytes)));
      writeSectors(out, sector, decoy.bytes);
      sector += sectorsFor(decoy.bytes.size());
    } else {
      const CarveSample& file = pool[nextSample % pool.size()];
      if (sectorsFor(file.bytes.size()) + gap > totalSectors - sector) break;
      planted.push_back(plantedJson(place, file, "live", sector, poolHashes[nextSample % pool.size()]));
      writeSectors(out, sector, file.bytes);
      sector += sectorsFor(file.bytes.size());
      ++nextSample;
    }
    writeFiller(out, filler, state, sector, sector + gap);
    sector += gap;
  }
  writeFiller(out, filler, state, sector, totalSectors);
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  manifest.extra["planted"] = std::move(planted);
  manifest.sectorSize = kSectorSize;
  manifest.imageBytes = totalSectors * kSectorSize;
  return true;
}

}  // namespace nua::imagekit
