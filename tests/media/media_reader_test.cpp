// The sector readers on real files: reads at and past the end, failing reads, and the device-gone rule.
#include "media/media_reader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "base/log.h"
#include "media/read_volume.h"

namespace nua {
namespace {

namespace fs = std::filesystem;

class ReaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("nua-media-" + std::to_string(::getpid()) + "-" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir);
    image = dir / "disk.img";
    std::ofstream out(image, std::ios::binary);
    for (int sector = 0; sector < 4; ++sector)
      for (int i = 0; i < 512; ++i) out.put(static_cast<char>(sector * 16 + (i & 0x0F)));
    setLogSink([this](const std::string& line) { logged.push_back(line); });
  }
  void TearDown() override {
    setLogSink({});
    fs::remove_all(dir);
  }
  std::unique_ptr<MediaReader> media(const std::string& path) {
    auto m = std::make_unique<MediaReader>();
    m->initWithDictionary(Dict{{"Path", path}, {"Preferred Block Size", 512}, {"Size", std::uint64_t{2048}}},
                          MediaContext{&ui, &lists});
    return m;
  }
  void listPath(const std::string& path) {
    DriveRow listed;
    listed.path = path;
    lists.publish({{listed}, {}});
  }

  fs::path dir, image;
  RecordingUiBridge ui;
  DeviceListStore lists;
  std::vector<std::string> logged;
};

TEST_F(ReaderTest, ReadsWholeSectorsAtTheirOffset) {
  auto m = media(image);
  std::vector<std::byte> buffer(1024);
  ASSERT_TRUE(m->readSector(2, 2, buffer));
  EXPECT_EQ(buffer[0], std::byte{0x20});
  EXPECT_EQ(buffer[15], std::byte{0x2F});
  EXPECT_EQ(buffer[512], std::byte{0x30});
  EXPECT_EQ(m->sizeInSect, 4u);
}

TEST_F(ReaderTest, ReadPastTheEndSucceedsAndLeavesTheBufferAsItWas) {
  auto m = media(image);
  std::vector<std::byte> buffer(1024, std::byte{0xEE});
  ASSERT_TRUE(m->readSector(10, 2, buffer));
  for (std::byte b : buffer) ASSERT_EQ(b, std::byte{0xEE});
  // A read that straddles the end fills what exists and keeps the rest.
  ASSERT_TRUE(m->readSector(3, 2, buffer));
  EXPECT_EQ(buffer[0], std::byte{0x30});
  EXPECT_EQ(buffer[512], std::byte{0xEE});
  EXPECT_TRUE(ui.alerts.empty());
}

// Saving must not pad a file with bytes a truncated image does not hold: the save reader says so.
TEST_F(ReaderTest, TheSaveReaderTellsAReadCutShortByTheEndOfTheSource) {
  auto m = media(image);
  std::vector<std::byte> buffer(1024);
  EXPECT_EQ(m->readSaveSector(2, 2, buffer), ReadOutcome::kComplete);
  EXPECT_EQ(m->readSaveSector(3, 2, buffer), ReadOutcome::kShortAtEnd);
  EXPECT_EQ(buffer[0], std::byte{0x30});
  EXPECT_EQ(m->readSaveSector(10, 1, buffer), ReadOutcome::kShortAtEnd);
  EXPECT_TRUE(ui.alerts.empty());  // the source is still there: nothing to alert about
  ASSERT_FALSE(logged.empty());
  EXPECT_EQ(logged.back().rfind("Unable to read from the drive " + image.string() + ": it ends within sectors 10", 0),
            0u);
}

TEST_F(ReaderTest, RefusesABufferTooSmallOrANonsenseCount) {
  auto m = media(image);
  std::vector<std::byte> buffer(511);
  EXPECT_FALSE(m->readSector(0, 1, buffer));
  EXPECT_FALSE(m->readSector(0, 0, buffer));
  EXPECT_FALSE(m->readSector(0, -3, buffer));
  std::vector<std::byte> sector(512);
  EXPECT_FALSE(m->readSector(UINT64_MAX, 1, sector));
  EXPECT_TRUE(ui.alerts.empty());
}

// A directory opens read-only but every read of it fails: a stand-in for a bad sector.
TEST_F(ReaderTest, FailingReadOnAListedPathIsABadSpotWithoutAlert) {
  auto m = media(dir);
  listPath(dir);
  std::vector<std::byte> buffer(512);
  for (auto read : {&MediaReader::readSector, &MediaReader::readPreviewSector}) EXPECT_FALSE(((*m).*read)(0, 1, buffer));
  EXPECT_EQ(m->readSaveSector(0, 1, buffer), ReadOutcome::kFailed);
  EXPECT_TRUE(ui.alerts.empty());
  EXPECT_EQ(ui.terminated, 0);
  ASSERT_GE(logged.size(), 2u);
  EXPECT_EQ(logged[0].rfind("Unable to read from the drive " + dir.string() + " error: ", 0), 0u);
  EXPECT_EQ(logged[1].rfind("Further info, sectorNum: 0, size: 1, sizeInSect: ", 0), 0u);
}

TEST_F(ReaderTest, FailingReadOnAnUnlistedPathIsAGoneDevice) {
  auto m = media(dir);
  std::vector<std::byte> buffer(512);
  EXPECT_FALSE(m->readSector(0, 1, buffer));
  ASSERT_EQ(ui.alerts.size(), 1u);
  EXPECT_EQ(ui.alerts[0], (Alert{"! Error",
                                 "The Drive or Volume being read is no longer available. The Program will quit now.",
                                 {"Quit"}}));
  EXPECT_EQ(ui.terminated, 1);

  EXPECT_FALSE(m->readPreviewSector(0, 1, buffer));
  EXPECT_EQ(ui.alerts[1].title, "! Can not show preview");
  EXPECT_EQ(m->readSaveSector(0, 1, buffer), ReadOutcome::kFailed);
  EXPECT_EQ(ui.alerts[2], (Alert{"! Can not save files", "The Drive or Volume being read is no longer available.",
                                 {"OK"}}));
  EXPECT_EQ(ui.previewsClosed, 2);
}

TEST_F(ReaderTest, UnopenableSourceAlertsOnlyForTheScanReader) {
  const std::string missing = (dir / "missing.img").string();
  auto m = media(missing);
  listPath(missing);
  std::vector<std::byte> buffer(512);
  EXPECT_FALSE(m->readSector(0, 1, buffer));
  ASSERT_EQ(ui.alerts.size(), 1u);
  EXPECT_EQ(ui.alerts[0].title, "! Could not open drive");
  EXPECT_EQ(ui.alerts[0].text, "A valid fileDesc could not be obtained for drive: " + missing);
  EXPECT_EQ(m->readSaveSector(0, 1, buffer), ReadOutcome::kFailed);  // a failing read on a listed path: no second alert
  EXPECT_EQ(ui.alerts.size(), 1u);
}

TEST_F(ReaderTest, SourceIsOpenedReadOnlyAndOnce) {
  auto m = media(image);
  std::vector<std::byte> buffer(512);
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(m->readSector(static_cast<std::uint64_t>(i % 4), 1, buffer));
  int errorNumber = 0;
  auto file = m->deviceFile(errorNumber);
  ASSERT_TRUE(file);
  EXPECT_EQ(m->deviceFile(errorNumber), file);
  EXPECT_EQ(file->sizeInBytes(), 2048u);
  EXPECT_EQ(file->sectorSize(), 512u);
  // Read-only: the image is byte-identical after reading and its mode bits were never needed.
  fs::permissions(image, fs::perms::owner_read);
  auto again = media(image);
  EXPECT_TRUE(again->readSector(0, 1, buffer));
}

TEST_F(ReaderTest, ReadVolumeReadsByPathAndAlertsOnFailure) {
  std::vector<std::byte> buffer(512);
  EXPECT_TRUE(ReadVolume::readSaveSector(1, 1, 512, buffer, image, &ui));
  EXPECT_EQ(buffer[0], std::byte{0x10});
  EXPECT_FALSE(ReadVolume::readSaveSector(0, 1, 512, buffer, dir, &ui));
  ASSERT_EQ(ui.alerts.size(), 1u);
  EXPECT_EQ(ui.alerts[0].title, "!Error");
  EXPECT_EQ(ui.alerts[0].text.rfind("Drive cannot open or not found, error: ", 0), 0u);
  EXPECT_FALSE(readSaveSectorQuietly(0, 1, 512, buffer, dir));
  EXPECT_TRUE(readSaveSectorQuietly(0, 1, 512, buffer, image));
  EXPECT_EQ(ui.alerts.size(), 1u);
}

TEST(ByteReads, DirectionFollowsTheOffset) {
  const std::byte bytes[] = {std::byte{1}, std::byte{2}, std::byte{3}, std::byte{4}};
  EXPECT_EQ(fourByteRead(bytes, 0, 0), 0x01020304u);
  EXPECT_EQ(fourByteRead(bytes, 0, 3), 0x04030201u);
  EXPECT_EQ(twoByteRead(bytes, 2, 0), 0x0304u);
  EXPECT_EQ(twoByteRead(bytes, 2, 1), 0x0403u);
  // Reaching outside the buffer gives 0 rather than reading beyond it.
  EXPECT_EQ(fourByteRead(bytes, 1, 0), 0u);
  EXPECT_EQ(fourByteRead(bytes, 0, 1), 0u);
  EXPECT_EQ(twoByteRead(bytes, -1, 0), 0u);
}

}  // namespace
}  // namespace nua
