// exFAT volumes as cameras and USB drives carry them: made blank by mkfs.exfat, then filled by the
// kit's own writer with nested folders, long and non-ASCII names, contiguous and fragmented files,
// files and a folder deleted the Linux and the Windows way, and a deleted file whose clusters were
// reused. Variants put the volume in an MBR or GPT map, or damage its main boot sector.
#include <cstdio>

#include "imagekit/exfat_writer.h"
#include "imagekit/fat_builder.h"
#include "imagekit/image_file.h"
#include "imagekit/partition_disk.h"
#include "imagekit/partition_map.h"
#include "imagekit/scenario.h"

namespace nua::imagekit {
namespace {

constexpr std::uint64_t kVolumeBytes = 32ULL * 1024 * 1024;
constexpr std::uint32_t kClusterBytes = 4096;
constexpr std::uint64_t kPartitionStartSector = 2048;

enum class ExfatWrapping { kBare, kMbr, kGpt, kDamagedMainBoot };

bool fillVolume(ExfatWriter& w, std::uint64_t seed, std::string& error) {
  const auto bytes = [seed](std::uint64_t salt, std::size_t length) {
    return fatSampleContent(seed * 1000 + salt, length);
  };
  const std::size_t c = kClusterBytes;
  const bool ok =
      w.addFolder("", "DCIM", error) && w.addFolder("DCIM", "100CANON", error) &&
      w.addFile("DCIM/100CANON", "IMG_0001.JPG", bytes(1, c * 7 / 2), ExfatLayout::kContiguous, error) &&
      w.addFile("DCIM/100CANON", "IMG_0002.JPG", bytes(2, c * 4 + 100), ExfatLayout::kFragmented, error) &&
      w.addFile("", "Notes with a rather long name that needs three name entries.txt", bytes(3, 700),
                ExfatLayout::kContiguous, error) &&
      w.addFile("", "Café crème – 東京.txt", bytes(4, 1500), ExfatLayout::kContiguous, error) &&
      w.addFile("", "Empty.txt", {}, ExfatLayout::kContiguous, error) &&
      // Deleted, then its first clusters taken by a newer file: its data is gone in part.
      w.addFile("", "Reused.bin", bytes(5, c * 3), ExfatLayout::kContiguous, error) &&
      w.remove("Reused.bin", ExfatDeletion::kLinux, error) &&
      w.addFile("", "Taker.bin", bytes(6, c * 2), ExfatLayout::kContiguous, error) &&
      w.addFile("", "Linux deleted.jpg", bytes(7, c * 5 - 10), ExfatLayout::kContiguous, error) &&
      w.addFile("", "Windows deleted.mov", bytes(8, c * 3 + 5), ExfatLayout::kContiguous, error) &&
      w.addFile("", "Windows deleted fragments.bin", bytes(9, c * 3), ExfatLayout::kFragmented, error) &&
      w.addFolder("", "Old trip", error) && w.addFile("Old trip", "beach.jpg", bytes(10, c * 2), ExfatLayout::kContiguous, error) &&
      w.addFolder("Old trip", "Nested", error) &&
      w.addFile("Old trip/Nested", "sunset.jpg", bytes(11, 3000), ExfatLayout::kContiguous, error) &&
      w.remove("Linux deleted.jpg", ExfatDeletion::kLinux, error) &&
      w.remove("Windows deleted.mov", ExfatDeletion::kWindows, error) &&
      w.remove("Windows deleted fragments.bin", ExfatDeletion::kWindows, error) &&
      w.remove("Old trip", ExfatDeletion::kLinux, error);
  if (!ok) return false;
  w.manifest().extra["reused"] = nlohmann::json::array({"Reused.bin"});
  w.manifest().extra["fragmentedDeleted"] = nlohmann::json::array({"Windows deleted fragments.bin"});
  return true;
}

bool makeExfat(const std::string& outPath, const ScenarioOptions& options, Manifest& manifest, std::string& error,
               ExfatWrapping wrapping) {
  ExfatWriter writer;
  const std::string scratch = outPath + ".blank";
  const bool formatted = writer.format(scratch, kVolumeBytes, kClusterBytes, "CARD", error);
  std::remove(scratch.c_str());
  if (!formatted || !fillVolume(writer, options.seed, error)) return false;
  if (wrapping == ExfatWrapping::kDamagedMainBoot) writer.damageMainBootSector();
  const std::uint64_t start = wrapping == ExfatWrapping::kBare || wrapping == ExfatWrapping::kDamagedMainBoot
                                  ? 0
                                  : kPartitionStartSector;
  const std::uint64_t volumeSectors = kVolumeBytes / 512;
  // A GPT keeps 33 sectors for its backup behind the last partition.
  const std::uint64_t total = start == 0 ? volumeSectors : start + volumeSectors + 2048;
  ImageWriter out(outPath, total * 512);
  if (wrapping == ExfatWrapping::kMbr) {
    std::vector<std::byte> sector(512, std::byte{0});
    putMbrRecord(sector, {MbrEntry{0x07, static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(volumeSectors)}});
    out.write(0, sector);
    manifest.partitions.push_back(partitionJson(1, "0x7", "Untitled 1", start, volumeSectors));
  } else if (wrapping == ExfatWrapping::kGpt) {
    GptLayout layout;
    layout.totalSectors = total;
    layout.diskGuid = "5E1F3C2A-7B4D-4E8F-9A0B-1C2D3E4F5A6B";
    layout.entries.push_back(
        GptEntry{kGptBasicDataType, "0C3B5A79-1D2E-4F60-8A9B-C0D1E2F3A4B5", start, start + volumeSectors - 1, u"Card"});
    writeGpt(layout, out);
    manifest.partitions.push_back(partitionJson(1, kGptBasicDataType, "Card", start, volumeSectors));
  }
  out.write(start * 512, writer.image());
  if (!out.finish()) {
    error = out.error();
    return false;
  }
  ManifestVolume volume = writer.manifest();
  volume.startSector = start;
  manifest.sectorSize = 512;
  manifest.imageBytes = total * 512;
  manifest.volumes.push_back(volume);
  if (wrapping == ExfatWrapping::kDamagedMainBoot) manifest.extra["damagedMainBootSector"] = true;
  return true;
}

}  // namespace

void registerExfatScenarios() {
  registerScenario({"exfat-basic",
                    "exFAT volume (bare) with nested folders, long and non-ASCII names, contiguous and fragmented "
                    "files, Linux- and Windows-style deletions, a deleted folder and reused clusters",
                    [](const std::string& out, const ScenarioOptions& o, Manifest& m, std::string& e) {
                      return makeExfat(out, o, m, e, ExfatWrapping::kBare);
                    }});
  registerScenario({"exfat-mbr", "The exfat-basic volume inside an MBR as partition type 0x07",
                    [](const std::string& out, const ScenarioOptions& o, Manifest& m, std::string& e) {
                      return makeExfat(out, o, m, e, ExfatWrapping::kMbr);
                    }});
  registerScenario({"exfat-gpt", "The exfat-basic volume inside a GPT as a basic data partition",
                    [](const std::string& out, const ScenarioOptions& o, Manifest& m, std::string& e) {
                      return makeExfat(out, o, m, e, ExfatWrapping::kGpt);
                    }});
  registerScenario({"exfat-damaged-boot", "The exfat-basic volume with its main boot sector zeroed; the backup holds",
                    [](const std::string& out, const ScenarioOptions& o, Manifest& m, std::string& e) {
                      return makeExfat(out, o, m, e, ExfatWrapping::kDamagedMainBoot);
                    }});
}

}  // namespace nua::imagekit
