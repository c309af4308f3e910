// The check list: its fixed order, the early stop on the first byte and the exception for movies,
// observed through checks that record each test they are asked for.
#include "filecheck/file_check_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "file_check_test_support.h"

namespace nua {
namespace {

using testing_support::Bytes;

// The order of the list as the product defines it: format word, folder key, first byte of header.
struct ExpectedEntry {
  const char* formatWord;
  const char* parentKey;
  std::uint8_t firstByte;
};
constexpr std::array<ExpectedEntry, 39> kExpectedOrder = {{
    {"mpg", "mpg", 0},      {"mrw", "mrw", 0},          {"amr", "amr", 0x23},    {"ra", "ra", 0x2E},
    {"rm", "rm", 0x2E},     {"psd", "psd", 0x38},       {"bmp", "bmp", 0x42},    {"raf", "raf", 0x46},
    {"x3f", "x3f", 0x46},   {"aif", "aif", 0x46},       {"gif", "gif", 0x47},    {"mp3", "mp3", 0x49},
    {"arw", "arw", 0x49},   {"sr2", "sr2", 0x49},       {"kdc", "kdc", 0x49},    {"k25", "k25", 0x49},
    {"dcr", "dcr", 0x49},   {"pef", "pef", 0x49},       {"dng", "dng", 0x49},    {"cr2", "cr2", 0x49},
    {"nef", "nef", 0x49},   {"tiff", "tiff", 0x49},     {"orf", "orf", 0x49},    {"rawPanasonic", "raw", 0x49},
    {"leica", "lei", 0x49}, {"threeFr", "3fr", 0x49},   {"crw", "crw", 0x49},    {"mid", "mid", 0x4D},
    {"avi", "avi", 0x52},   {"wav", "wav", 0x52},       {"png", "png", 0x89},    {"jpg", "jpg", 0xFF},
    {"mov", "mov", 0},      {"mp4", "mp4", 0},          {"m4a", "m4a", 0},       {"m4b", "m4b", 0},
    {"m4v", "m4v", 0},      {"threeGp", "3gp", 0},      {"threeGTwo", "3g2", 0},
}};

// Wraps a real check: keeps its key and first byte, records every test, and never finds a file
// (unless told to, for one key).
class RecordingCheck final : public FileCheck {
 public:
  RecordingCheck(std::unique_ptr<FileCheck> real, std::vector<std::string>& calls, std::string hitKey)
      : FileCheck(dummySource(), dummyState()),
        real_(std::move(real)), calls_(calls), hitKey_(std::move(hitKey)) {}
  bool isFile(ByteSpan, std::uint64_t) override {
    calls_.emplace_back(real_->parentKey());
    return real_->parentKey() == hitKey_;
  }
  std::uint64_t fileSizeCalculation(ByteSpan, std::uint64_t) override { return 1234; }
  std::string_view parentKey() const override { return real_->parentKey(); }
  std::uint8_t firstByteOfHeader() const override { return real_->firstByteOfHeader(); }

 private:
  static SectorSource& dummySource() {
    static MemorySectorSource source({}, 512);
    return source;
  }
  static FileCheckScanState& dummyState() {
    static FileCheckScanState state;
    return state;
  }
  std::unique_ptr<FileCheck> real_;
  std::vector<std::string>& calls_;
  std::string hitKey_;
};

// How many of the formats have their check built so far.
constexpr std::size_t kBuiltFormats = 39;

std::set<std::string> builtKeys(const FileCheckList& list) {
  std::set<std::string> keys;
  for (const auto& check : list.checks()) keys.emplace(check->parentKey());
  return keys;
}

std::set<std::string> allFormats() {
  return {FileCheckList::formatWordsInOrder().begin(), FileCheckList::formatWordsInOrder().end()};
}

struct RecordedList {
  MemorySectorSource source{Bytes(4096), 512};
  FileCheckScanState state;
  std::vector<std::string> calls;
  FileCheckList list;
};

std::unique_ptr<RecordedList> recordedList(const std::set<std::string>& formats, const std::string& hitKey = {}) {
  auto recorded = std::make_unique<RecordedList>();
  auto* calls = &recorded->calls;
  recorded->list = FileCheckList::build(formats, recorded->source, recorded->state,
                                        [calls, hitKey](std::unique_ptr<FileCheck> real) -> std::unique_ptr<FileCheck> {
                                          return std::make_unique<RecordingCheck>(std::move(real), *calls, hitKey);
                                        });
  return recorded;
}

TEST(FileCheckList, AllFormatsAreBuiltInTheFixedOrderWithTheirKeysAndFirstBytes) {
  auto recorded = recordedList(allFormats());
  const auto& checks = recorded->list.checks();
  ASSERT_EQ(FileCheckList::formatWordsInOrder().size(), kExpectedOrder.size());
  for (std::size_t i = 0; i < kExpectedOrder.size(); ++i) {
    EXPECT_EQ(FileCheckList::formatWordsInOrder()[i], kExpectedOrder[i].formatWord) << i;
  }
  std::size_t next = 0;
  for (const auto& check : checks) {
    while (next < kExpectedOrder.size() && check->parentKey() != kExpectedOrder[next].parentKey) ++next;
    ASSERT_LT(next, kExpectedOrder.size()) << check->parentKey() << " out of order";
    EXPECT_EQ(check->firstByteOfHeader(), kExpectedOrder[next].firstByte) << check->parentKey();
  }
  EXPECT_EQ(checks.size(), kBuiltFormats);
  EXPECT_TRUE(recorded->list.movieFamilySelected());
}

// For every first byte, with and without an atom letter at byte 4 and with and without the movies
// selected: the checks asked are the prefix of the order up to the first one whose first byte is
// above the sector's, or all of them under the movie exception.
struct EarlyStopCase {
  bool moviesSelected;
  std::uint8_t byte4;
};
class FileCheckListEarlyStop : public ::testing::TestWithParam<EarlyStopCase> {};

TEST_P(FileCheckListEarlyStop, RunsExactlyTheChecksTheOrderAllows) {
  const EarlyStopCase c = GetParam();
  std::set<std::string> formats = allFormats();
  if (!c.moviesSelected) {
    for (const char* movie : {"mov", "mp4", "m4a", "m4b", "m4v", "threeGp", "threeGTwo"}) formats.erase(movie);
  }
  auto recorded = recordedList(formats);
  const std::set<std::string> built = builtKeys(recorded->list);
  const bool moviesBuilt = built.count("mov") + built.count("mp4") + built.count("3gp") > 0;
  const bool exception = c.moviesSelected && moviesBuilt && c.byte4 >= 'f' && c.byte4 <= 'x';
  for (int first = 0; first < 256; ++first) {
    recorded->calls.clear();
    Bytes header(25);
    header[0] = static_cast<std::byte>(first);
    header[4] = static_cast<std::byte>(c.byte4);
    const FileCheckHit hit = recorded->list.run(header, 7);
    EXPECT_EQ(hit.check, nullptr);
    std::vector<std::string> expected;
    for (const ExpectedEntry& entry : kExpectedOrder) {
      if (formats.count(entry.formatWord) == 0 || built.count(entry.parentKey) == 0) continue;
      expected.emplace_back(entry.parentKey);
      if (first < entry.firstByte && !exception) break;
    }
    EXPECT_EQ(recorded->calls, expected) << "first byte " << first;
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, FileCheckListEarlyStop,
                         ::testing::Values(EarlyStopCase{true, 'm'}, EarlyStopCase{true, 'f'}, EarlyStopCase{true, 'x'},
                                           EarlyStopCase{true, 'e'}, EarlyStopCase{true, 'y'},
                                           EarlyStopCase{false, 'm'}));

TEST(FileCheckList, TheFirstTestThatHoldsEndsTheListAndIsMeasured) {
  auto recorded = recordedList(allFormats(), "gif");
  Bytes header(25);
  header[0] = std::byte{0xFF};
  const FileCheckHit hit = recorded->list.run(header, 7);
  ASSERT_NE(hit.check, nullptr);
  EXPECT_EQ(hit.check->parentKey(), "gif");
  EXPECT_EQ(hit.size, 1234u);
  EXPECT_EQ(recorded->calls.back(), "gif");
  const auto& checks = recorded->list.checks();
  const auto gif = std::find_if(checks.begin(), checks.end(), [](const auto& c) { return c->parentKey() == "gif"; });
  EXPECT_EQ(recorded->calls.size(), static_cast<std::size_t>(gif - checks.begin()) + 1);
}

TEST(FileCheckList, OnlySelectedFormatsAreBuiltAndTheirTiffFlagsSet) {
  auto recorded = recordedList({"jpg", "nef", "threeFr", "bogus"});
  ASSERT_EQ(recorded->list.checks().size(), 3u);
  EXPECT_EQ(recorded->list.checks()[0]->parentKey(), "nef");
  EXPECT_EQ(recorded->list.checks()[1]->parentKey(), "3fr");
  EXPECT_EQ(recorded->list.checks()[2]->parentKey(), "jpg");
  EXPECT_TRUE(recorded->state.nikonSelected);
  EXPECT_TRUE(recorded->state.threefrFileSelected);
  EXPECT_FALSE(recorded->state.tiffSelected);
  EXPECT_FALSE(recorded->list.movieFamilySelected());
}

TEST(FileCheckScanState, ClearingAStepKeepsSelectionsAndTheJpegPlace) {
  FileCheckScanState state;
  state.nikonSelected = true;
  state.tiffFileFound = state.bigEndianFile = state.canonRawTiff = state.rawJpg.found = true;
  state.rawJpg.size = 5000;
  state.skipFileSize = true;
  state.clearPerStepFlags();
  EXPECT_TRUE(state.nikonSelected);
  EXPECT_FALSE(state.tiffFileFound || state.bigEndianFile || state.canonRawTiff || state.rawJpg.found);
  EXPECT_EQ(state.rawJpg.size, 5000u);
  EXPECT_TRUE(state.skipFileSize);  // the loop clears it when it jumps
}

}  // namespace
}  // namespace nua
