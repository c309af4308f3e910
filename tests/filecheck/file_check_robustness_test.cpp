// Random and mutated bytes through every check of the list: each test and size walk must return,
// within the device or the walk's own cap, without touching memory it does not own (sanitizer build).
#include <gtest/gtest.h>

#include <random>

#include "file_check_test_support.h"
#include "filecheck/file_check_list.h"

namespace nua {
namespace {

using namespace testing_support;

// Seeds of plausible starts, so the mutations reach past the first test into the walks.
std::vector<Bytes> seedHeaders() {
  std::vector<Bytes> seeds;
  const auto add = [&](std::initializer_list<int> bytes, std::string_view text = {}, std::size_t textAt = 0) {
    Bytes b;
    for (int v : bytes) b.push_back(static_cast<std::byte>(v));
    if (!text.empty()) putText(b, textAt, text);
    b.resize(512);
    seeds.push_back(b);
  };
  add({0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10});
  add({0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13}, "IHDR", 12);
  add({}, "GIF89a");
  add({}, "BM");
  add({'8', 'B', 'P', 'S', 0, 1});
  add({'I', 'I', 42, 0, 8, 0, 0, 0, 12, 0});
  add({'M', 'M', 0, 42, 0, 0, 0, 8, 0, 12});
  add({'I', 'I', 0x1A, 0, 0, 0}, "HEAPCCDR", 6);
  add({}, "FUJIFILMCCD-RAW");
  add({0, 'M', 'R', 'M'});
  add({}, "FOVb");
  add({0, 0, 0, 0x18}, "ftypmp42", 4);
  add({0, 0, 0, 0x14}, "ftypqt  ", 4);
  add({0, 0, 1, 0xBA, 0x44});
  add({0, 0, 1, 0xB3, 0x14, 0x00, 0xF0});
  add({}, "ID3");
  add({0xFF, 0xFB, 0x90, 0x64});
  add({}, "#!AMR\n");
  add({}, "FORM\0\0\0\0AIFF");
  add({}, "MThd\0\0\0\6\0\1\0\1\0\0MTrk");
  add({}, "RIFF\0\0\0\0AVI LIST");
  add({}, "RIFF\0\0\0\0WAVE");
  add({0x2E, 'r', 'a', 0xFD, 0, 4});
  add({}, ".RMF\0\0\0\x12");
  return seeds;
}

TEST(FileCheckRobustness, MutatedAndRandomBytesNeverCrashOrHang) {
  std::mt19937 random(20261123);
  const std::vector<Bytes> seeds = seedHeaders();
  std::set<std::string> all(FileCheckList::formatWordsInOrder().begin(), FileCheckList::formatWordsInOrder().end());
  for (int round = 0; round < 300; ++round) {
    // A small device: the candidate at sector 0, then mutated copies and random bytes.
    Bytes device = seeds[random() % seeds.size()];
    device.resize(64 * 1024 + random() % 4096);
    for (std::size_t i = 512; i < device.size(); ++i) device[i] = static_cast<std::byte>(random() % 4 == 0 ? random() : 0);
    const int mutations = 1 + static_cast<int>(random() % 24);
    for (int m = 0; m < mutations; ++m) device[random() % 512] = static_cast<std::byte>(random());
    MemorySectorSource source(device, 512);
    FileCheckScanState state;
    FileCheckList list = FileCheckList::build(all, source, state);
    const Bytes header(device.begin(), device.begin() + kFileCheckHeaderBytes);
    for (const auto& check : list.checks()) {
      // Walks run when the test holds, and every eighth round whatever it said, to reach edge paths too.
      const bool found = check->isFile(header, 0);
      if (found || round % 8 == 0) {
        const std::uint64_t size = check->fileSizeCalculation(header, 0);
        EXPECT_LE(size, 0x100000000ull) << check->parentKey();
      }
      state.clearPerStepFlags();
    }
    (void)list.run(header, 0);
  }
}

}  // namespace
}  // namespace nua
