// Camera RAW files built in test code: each is confirmed by exiftool where installed, claimed by its
// own check through the check list's maker test, measured by its format's rule, and its preview JPEG
// reported where it lies.
#include <gtest/gtest.h>

#include <fstream>

#include "camera_raw_builders.h"
#include "file_check_test_support.h"
#include "filecheck/file_check_list.h"
#include "filecheck/tiff_file_check.h"
#include "filecheck/nef_file_check.h"
#include "filecheck/threefr_file_check.h"

namespace nua {
namespace {

using namespace testing_support;

struct RawCase {
  const char* name;
  BuiltRaw (*build)();
};
void PrintTo(const RawCase& c, std::ostream* os) { *os << c.name; }

// exiftool's name for the file's type, or empty when it is not installed or found an error.
std::string exiftoolFileType(const BuiltRaw& raw) {
  const auto dir = std::filesystem::temp_directory_path() / ("nua-raw-" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  const auto path = dir / ("a." + raw.extension);
  {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(raw.file.data()), static_cast<std::streamsize>(raw.file.size()));
  }
  const auto result = dir / "type.txt";
  const std::string command = "exiftool -s3 -FileType -Error '" + path.string() + "' > '" + result.string() + "' 2>&1";
  std::string text;
  if (std::system(command.c_str()) == 0) {
    std::ifstream in(result);
    std::getline(in, text);
    std::string more;
    if (std::getline(in, more) && !more.empty()) text += " / " + more;  // an error line
  }
  std::filesystem::remove_all(dir);
  return text;
}

class CameraRawFiles : public ::testing::TestWithParam<RawCase> {};

TEST_P(CameraRawFiles, BuilderOutputIsTheFormatExiftoolNames) {
  if (!haveTool("exiftool")) GTEST_SKIP() << "exiftool is not installed";
  const BuiltRaw raw = GetParam().build();
  EXPECT_EQ(exiftoolFileType(raw), raw.exifFileType);
}

TEST_P(CameraRawFiles, ClaimedByItsCheckMeasuredAndItsPreviewReported) {
  const BuiltRaw raw = GetParam().build();
  MemorySectorSource source = deviceWithFile(raw.file);
  FileCheckScanState state;
  const std::set<std::string> all(FileCheckList::formatWordsInOrder().begin(), FileCheckList::formatWordsInOrder().end());
  FileCheckList list = FileCheckList::build(all, source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  const FileCheckHit hit = list.run(first, kFileSector);
  ASSERT_NE(hit.check, nullptr);
  EXPECT_EQ(hit.check->parentKey(), raw.parentKey);
  EXPECT_EQ(hit.size, raw.expectedSize) << "file of " << raw.file.size();
  if (raw.jpegSize != 0) {
    EXPECT_TRUE(state.rawJpg.found);
    EXPECT_EQ(state.rawJpg.sectorNumber, kFileSector + raw.jpegOffset / 512);
    EXPECT_EQ(state.rawJpg.extraBytesOfOffset, raw.jpegOffset % 512);
    EXPECT_EQ(state.rawJpg.size, raw.jpegSize);
  } else {
    EXPECT_FALSE(state.rawJpg.found);
  }
  state.clearPerStepFlags();
  const FileCheckHit later = list.run(headerOfSector(source, kFileSector + 1), kFileSector + 1);
  EXPECT_TRUE(later.check == nullptr || later.check->parentKey() != raw.parentKey);
}

TEST_P(CameraRawFiles, ItsOwnCheckAloneAgreesWithTheList) {
  const BuiltRaw raw = GetParam().build();
  std::string word = raw.parentKey;
  if (word == "raw") word = "rawPanasonic";
  if (word == "lei") word = "leica";
  if (word == "3fr") word = "threeFr";
  MemorySectorSource source = deviceWithFile(raw.file);
  FileCheckScanState state;
  FileCheckList list = FileCheckList::build({word}, source, state);
  ASSERT_EQ(list.checks().size(), 1u);
  const Bytes first = headerOfSector(source, kFileSector);
  ASSERT_TRUE(list.checks()[0]->isFile(first, kFileSector));
  EXPECT_EQ(list.checks()[0]->fileSizeCalculation(first, kFileSector), raw.expectedSize);
}

TEST_P(CameraRawFiles, ACancelledScanGetsAnAnswerAtOnceAndNoPreview) {
  const BuiltRaw raw = GetParam().build();
  MemorySectorSource source = deviceWithFile(raw.file);
  std::atomic<bool> cancel{true};
  FileCheckScanState state;
  state.cancelScanning = &cancel;
  const std::set<std::string> all(FileCheckList::formatWordsInOrder().begin(), FileCheckList::formatWordsInOrder().end());
  FileCheckList list = FileCheckList::build(all, source, state);
  const FileCheckHit hit = list.run(headerOfSector(source, kFileSector), kFileSector);
  // The maker test gives up when cancelled, so at most a check that needs no walk answers.
  if (hit.check != nullptr) {
    EXPECT_LE(hit.size, raw.expectedSize) << hit.check->parentKey();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Builders, CameraRawFiles,
    ::testing::Values(RawCase{"nef", buildNef}, RawCase{"cr2", buildCr2}, RawCase{"arw", buildArwA700}, RawCase{"arw_a100", buildArwA100},
                      RawCase{"sr2", buildSr2}, RawCase{"kdc", buildKdc}, RawCase{"k25", buildK25},
                      RawCase{"dcr", buildDcr}, RawCase{"pef", buildPef},
                      RawCase{"dng_canon", [] { return buildDng("Canon"); }},
                      RawCase{"dng_pentax", [] { return buildDng("PENTAX"); }},
                      RawCase{"orf_iiro", [] { return buildOrf("RO"); }},
                      RawCase{"orf_iirs", [] { return buildOrf("RS"); }},
                      RawCase{"orf_mmor", [] { return buildOrf("OR"); }},
                      RawCase{"rw2", [] { return buildPanasonicRaw("Panasonic"); }},
                      RawCase{"rwl", [] { return buildPanasonicRaw("LEICA"); }}, RawCase{"3fr", buildThreefr},
                      RawCase{"raf", buildRaf}, RawCase{"mrw", buildMrw}, RawCase{"x3f", buildX3f},
                      RawCase{"crw", buildCrw}, RawCase{"canon_tif", buildCanonRawTiff}));

}  // namespace
}  // namespace nua
