// Every container kind reads exactly the raw image's bytes, across chunk and segment edges and past
// the end; damaged containers fail to open or fail the read, never give zeros in place of data.
#include "container/image_container.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include "base/bytes.h"
#include "container/split_raw_set.h"
#include "container/udif_image.h"
#include "imagekit/scenario.h"
#include "imagekit/udif_writer.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

class ContainerFixture : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = fs::temp_directory_path() / ("nua_container_test_" + std::to_string(::getpid()));
    fs::create_directories(folder_);
    raw_ = folder_ / "disk.img";
    imagekit::ScenarioOptions options;
    imagekit::Manifest manifest;
    std::string error;
    ASSERT_TRUE(imagekit::findScenario("fat16-basic")->make(raw_.string(), options, manifest, error)) << error;
    std::ifstream in(raw_, std::ios::binary);
    std::vector<char> chars((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    rawBytes_.resize(chars.size());
    std::memcpy(rawBytes_.data(), chars.data(), chars.size());
  }
  static void TearDownTestSuite() { fs::remove_all(folder_); }

  static std::string shell(const std::string& command) { return std::system(command.c_str()) == 0 ? "" : command; }

  static fs::path folder_;
  static fs::path raw_;
  static std::vector<std::byte> rawBytes_;
};
fs::path ContainerFixture::folder_;
fs::path ContainerFixture::raw_;
std::vector<std::byte> ContainerFixture::rawBytes_;

std::unique_ptr<ImageContainer> openOrFail(const fs::path& path, std::string& problem) {
  int errorNumber = 0;
  return openImageContainer(path.string(), errorNumber, problem);
}

// Reads at edges a container must join correctly: chunk and segment boundaries, the last bytes,
// across the end, past it; plus a seeded set of random spans.
void expectSameBytes(const ImageContainer& container, const std::vector<std::byte>& raw) {
  ASSERT_EQ(container.sizeInBytes(), raw.size());
  std::vector<std::pair<std::uint64_t, std::size_t>> spans = {
      {0, 512}, {(1 << 20) - 3, 7}, {(1 << 20) - 512, 4096}, {raw.size() - 100, 100}, {0, raw.size()}};
  std::mt19937_64 random(27);
  for (int i = 0; i < 40; ++i) spans.emplace_back(random() % raw.size(), 1 + random() % 300000);
  for (auto [offset, length] : spans) {
    std::vector<std::byte> buffer(length, std::byte{0xEE});
    int errorNumber = 0;
    const ReadOutcome outcome = container.readAt(offset, buffer, errorNumber);
    const std::size_t inside = static_cast<std::size_t>(std::min<std::uint64_t>(length, raw.size() - offset));
    ASSERT_EQ(outcome, inside == length ? ReadOutcome::kComplete : ReadOutcome::kShortAtEnd) << offset;
    ASSERT_TRUE(std::equal(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(inside),
                           raw.begin() + static_cast<std::ptrdiff_t>(offset)))
        << "bytes at " << offset;
    for (std::size_t i = inside; i < length; ++i) ASSERT_EQ(buffer[i], std::byte{0xEE}) << "past the end is untouched";
  }
  std::vector<std::byte> past(512, std::byte{0xEE});
  int errorNumber = 0;
  EXPECT_EQ(container.readAt(raw.size() + 4096, past, errorNumber), ReadOutcome::kShortAtEnd);
  EXPECT_EQ(past[0], std::byte{0xEE});
}

TEST_F(ContainerFixture, EveryKindReadsTheRawImagesBytes) {
  const fs::path r = raw_;
  const std::string f = folder_.string();
  ASSERT_EQ(shell("split -b 1M -d -a 3 --numeric-suffixes=1 " + r.string() + " " + f + "/one.img."), "");
  ASSERT_EQ(shell("split -b 1M -d -a 3 " + r.string() + " " + f + "/zero.img."), "");
  ASSERT_EQ(shell("split -b 1M " + r.string() + " " + f + "/letters.img"), "");
  ASSERT_EQ(shell("ewfacquire -u -q -S 1MiB -c deflate:best -t " + f + "/evidence " + r.string() + " >/dev/null 2>&1"), "");
  const struct {
    std::string name;
    ContainerKind kind;
  } cases[] = {{"disk.img", ContainerKind::kRaw},          {"one.img.001", ContainerKind::kSplitRaw},
               {"zero.img.000", ContainerKind::kSplitRaw}, {"letters.imgaa", ContainerKind::kSplitRaw},
               {"evidence.E01", ContainerKind::kEwf},      {"raw.dmg", ContainerKind::kUdif},
               {"zlib.dmg", ContainerKind::kUdif},         {"bzip2.dmg", ContainerKind::kUdif}};
  std::string error;
  for (auto [name, encoding] : {std::pair{"raw.dmg", imagekit::UdifEncoding::kRaw},
                                std::pair{"zlib.dmg", imagekit::UdifEncoding::kZlib},
                                std::pair{"bzip2.dmg", imagekit::UdifEncoding::kBzip2}})
    ASSERT_TRUE(imagekit::writeUdifImage(r.string(), f + "/" + name, encoding, error)) << error;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string problem;
    const auto container = openOrFail(folder_ / c.name, problem);
    ASSERT_TRUE(container) << problem;
    EXPECT_EQ(container->kind(), c.kind);
    expectSameBytes(*container, rawBytes_);
  }
}

TEST_F(ContainerFixture, SplitSetGapsAndShortPiecesAreErrorsNamingThePiece) {
  const std::string f = folder_.string() + "/gap";
  fs::create_directories(f);
  ASSERT_EQ(shell("split -b 2M -d -a 3 --numeric-suffixes=1 " + raw_.string() + " " + f + "/disk."), "");
  fs::resize_file(f + "/disk.002", 1000);
  std::string problem;
  EXPECT_FALSE(openOrFail(f + "/disk.001", problem));
  EXPECT_NE(problem.find("segment " + f + "/disk.002 is 1000 bytes"), std::string::npos) << problem;
  fs::remove(f + "/disk.003");
  EXPECT_FALSE(openOrFail(f + "/disk.001", problem));
  EXPECT_EQ(problem, "missing segment " + f + "/disk.003") << "a gap before disk.004 is not the end of the set";
  // Without later pieces the set just ends: the last piece may be the short one.
  fs::remove(f + "/disk.004");
  fs::resize_file(f + "/disk.002", 1000);
  const auto shorter = openOrFail(f + "/disk.001", problem);
  ASSERT_TRUE(shorter) << problem;
  EXPECT_EQ(shorter->sizeInBytes(), (2u << 20) + 1000);
}

TEST_F(ContainerFixture, DamagedUdifChunksFailTheReadAndUnsupportedOnesRefuseTheImage) {
  const std::string f = folder_.string();
  std::string error;
  ASSERT_TRUE(imagekit::writeUdifImage(raw_.string(), f + "/bad.dmg", imagekit::UdifEncoding::kZlib, error));
  {
    // Spoil the first compressed chunk's stream a little way in.
    std::fstream file(f + "/bad.dmg", std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(40);
    file.write("\xff\xff\xff\xff\xff\xff\xff\xff", 8);
  }
  std::string problem;
  const auto image = openOrFail(f + "/bad.dmg", problem);
  ASSERT_TRUE(image) << problem;
  std::vector<std::byte> buffer(4096);
  int errorNumber = 0;
  EXPECT_EQ(image->readAt(0, buffer, errorNumber), ReadOutcome::kFailed);
  EXPECT_NE(errorNumber, 0);

  // A trailer claiming more sectors than the tables map: the unmapped tail is unknown, not zeros.
  ASSERT_TRUE(imagekit::writeUdifImage(raw_.string(), f + "/longer.dmg", imagekit::UdifEncoding::kRaw, error));
  {
    std::fstream file(f + "/longer.dmg", std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(fs::file_size(f + "/longer.dmg") - 512 + 492));
    std::vector<std::byte> count(8);
    putBe64(count, 0, rawBytes_.size() / 512 + 8);
    file.write(reinterpret_cast<const char*>(count.data()), 8);
  }
  const auto longer = openOrFail(f + "/longer.dmg", problem);
  ASSERT_TRUE(longer) << problem;
  EXPECT_EQ(longer->readAt(rawBytes_.size() - 512, buffer, errorNumber), ReadOutcome::kFailed);
  EXPECT_EQ(longer->readAt(rawBytes_.size() - 4096, std::span(buffer).first(4096), errorNumber), ReadOutcome::kComplete);

  ASSERT_TRUE(imagekit::writeUdifImage(raw_.string(), f + "/lzfse.dmg", imagekit::UdifEncoding::kMarkedLzfse, error));
  EXPECT_FALSE(openOrFail(f + "/lzfse.dmg", problem));
  EXPECT_EQ(problem.rfind("compressed with LZFSE, not supported; convert it with", 0), 0u) << problem;
}

TEST_F(ContainerFixture, TruncatedEvidenceSegmentIsAnErrorNotGarbage) {
  const std::string f = folder_.string() + "/cut";
  fs::create_directories(f);
  ASSERT_EQ(shell("ewfacquire -u -q -S 1MiB -t " + f + "/evidence " + raw_.string() + " >/dev/null 2>&1"), "");
  fs::resize_file(f + "/evidence.E02", fs::file_size(f + "/evidence.E02") / 2);
  std::string problem;
  const auto set = openOrFail(f + "/evidence.E01", problem);
  if (!set) {
    EXPECT_FALSE(problem.empty());
    return;
  }
  // Opened despite the cut: the bytes of the lost half must not read as anything.
  std::vector<std::byte> buffer(rawBytes_.size());
  int errorNumber = 0;
  EXPECT_EQ(set->readAt(0, buffer, errorNumber), ReadOutcome::kFailed);
}

TEST(SplitRawNamingTest, FirstPiecesAndTheirSuccessors) {
  const struct {
    const char* first;
    const char* third;  // "" when `first` names no set
  } cases[] = {{"/x/disk.001", "/x/disk.003"}, {"/x/disk.000", "/x/disk.002"}, {"/x/diskaa", "/x/diskac"},
               {"disk.0001", "disk.0003"},     {"/x/disk.002", ""},            {"/x/disk.img", ""},
               {"/x/aa", ""},                  {"/x/disk.01", ""}};
  for (const auto& c : cases) {
    const auto naming = splitRawNamingOf(c.first);
    EXPECT_EQ(naming ? splitRawSegmentName(*naming, 2) : std::string(), c.third) << c.first;
  }
  const auto letters = splitRawNamingOf("diskaa");
  ASSERT_TRUE(letters);
  EXPECT_EQ(splitRawSegmentName(*letters, 26), "diskba");
  EXPECT_EQ(splitRawSegmentName(*letters, 676), "") << "the two-letter counter ends at zz";
}

}  // namespace
}  // namespace nua
