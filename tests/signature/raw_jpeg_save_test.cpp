// The JPEG preview inside a camera RAW file, found by the photo search and saved through the real
// saver: it starts part-way into a sector, and the saved file starts at its own first byte.
#include <gtest/gtest.h>

#include "../filecheck/camera_raw_builders.h"
#include "carve_kit_support.h"

namespace nua {
namespace {

using carvetest::CarvedFile;
using testing_support::BuiltRaw;

TEST(RawJpegSave, ThePreviewIsSavedFromItsFirstByteAndTheRawFileWhole) {
  // Previews of several lengths, so one ends inside the saver's first chunk of sectors and another
  // runs past it.
  const std::vector<BuiltRaw> raws = {testing_support::buildNef(), testing_support::buildCr2(),
                                      testing_support::buildArwA700()};
  carvetest::KitImage image;
  std::vector<std::uint64_t> rawSectors;
  image.bytes.resize(16 * 512);
  for (const BuiltRaw& raw : raws) {
    ASSERT_NE(raw.jpegOffset % 512, 0U) << raw.extension << ": the preview must start inside a sector";
    rawSectors.push_back(image.bytes.size() / 512);
    image.bytes.insert(image.bytes.end(), raw.file.begin(), raw.file.end());
    image.bytes.resize((image.bytes.size() + 511) / 512 * 512 + 8 * 512);
  }
  char pattern[] = "/tmp/nua-raw-jpeg-XXXXXX";
  ASSERT_NE(::mkdtemp(pattern), nullptr);
  image.path = std::filesystem::path(pattern) / "raw.img";
  std::ofstream(image.path, std::ios::binary)
      .write(reinterpret_cast<const char*>(image.bytes.data()), static_cast<std::streamsize>(image.bytes.size()));

  MemorySectorSource source(image.bytes, 512);
  FileCheckScanState state;
  FileCheckList checks = FileCheckList::build({"nef", "cr2", "arw"}, source, state);
  SignatureTables noTables;
  FormatContext context;
  carvetest::CarveRun run;
  CarvedEntryRegistrar registrar(
      CarvedRegistrarSetup{run.arena.get(), run.root, &run.maxFileID, nullptr, 512, image.bytes.size(), false});
  SignatureScanSetup setup;
  setup.loop = SignatureScanLoop::kDiskPhoto;
  setup.geometry.sizeInSectors = image.bytes.size() / 512;
  setup.geometry.totalBlocks = setup.geometry.sizeInSectors;
  setup.source = &source;
  setup.tables = &noTables;
  setup.fileChecks = {&checks, &state};
  setup.context = &context;
  setup.finds = &registrar;
  (void)runSignatureScan(setup, 0);

  const auto saved = carvetest::saveCarvedTree(image, run);
  std::filesystem::remove_all(pattern);
  std::map<std::uint64_t, std::string> savedPreviewAt;  // by the preview's first sector
  for (const CarvedFile& f : run.files()) {
    if (f.folder == "RAW Jpg Files") savedPreviewAt[f.startSector] = f.folder + "/" + f.name;
  }
  ASSERT_EQ(savedPreviewAt.size(), raws.size());
  for (std::size_t i = 0; i < raws.size(); ++i) {
    const BuiltRaw& raw = raws[i];
    const auto preview = savedPreviewAt.find(rawSectors[i] + raw.jpegOffset / 512);
    ASSERT_NE(preview, savedPreviewAt.end()) << raw.extension;
    const std::span<const std::byte> jpeg(raw.file.data() + raw.jpegOffset, raw.jpegSize);
    EXPECT_EQ(imagekit::sha256Hex(saved.at(preview->second)), imagekit::sha256Hex(jpeg)) << raw.extension;
    // The RAW file itself is saved from its first sector, as before.
    const std::string rawName = "file" + std::string("1.") + raw.extension;
    const std::string folder = raw.extension == "nef" ? "NEF Files" : raw.extension == "cr2" ? "CR2 Files" : "ARW Files";
    ASSERT_EQ(saved.count(folder + "/" + rawName), 1U) << raw.extension;
    const std::vector<std::byte>& whole = saved.at(folder + "/" + rawName);
    const std::size_t compared = std::min(whole.size(), raw.file.size());
    EXPECT_GT(compared, raw.jpegOffset + raw.jpegSize) << raw.extension;
    EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(compared), raw.file.begin()))
        << raw.extension;
  }
}

}  // namespace
}  // namespace nua
