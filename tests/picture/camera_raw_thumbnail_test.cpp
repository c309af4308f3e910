// The embedded JPEG of a built DNG-style RAW file comes out byte for byte; other bytes give nothing.
#include "picture/camera_raw_thumbnail.h"

#include <gtest/gtest.h>

#include <random>

#include "picture/heic_image.h"
#include "raw_file_builder.h"

namespace nua {
namespace {

std::vector<std::byte> fakeJpeg() { return testing_picture::smallRedJpeg(); }

TEST(CameraRawThumbnailTest, GivesTheEmbeddedJpegOfABuiltRawFile) {
  // LibRaw checks the JPEG it is pointed at, so a real one is embedded.
  const std::vector<std::byte> jpeg = fakeJpeg();
  EXPECT_EQ(embeddedJpegOfRaw(testing_picture::RawFileBuilder::build(jpeg)), jpeg);
}

TEST(CameraRawThumbnailTest, GarbageAndCutFilesGiveNothingAndNeverCrash) {
  const std::vector<std::byte> raw = testing_picture::RawFileBuilder::build(fakeJpeg());
  for (std::size_t length : {std::size_t{0}, std::size_t{8}, std::size_t{100}}) {
    EXPECT_TRUE(embeddedJpegOfRaw(std::span(raw).first(length)).empty()) << length;
  }
  for (std::size_t length = 100; length < raw.size(); length += 37) {
    EXPECT_LE(embeddedJpegOfRaw(std::span(raw).first(length)).size(), length);
  }
  std::mt19937 random(7);
  std::vector<std::byte> garbage(4096);
  for (std::byte& b : garbage) b = static_cast<std::byte>(random());
  EXPECT_TRUE(embeddedJpegOfRaw(garbage).empty());
  EXPECT_FALSE(decodeHeic(garbage).has_value());
  EXPECT_TRUE(isCameraRawFileType("cr2"));
  EXPECT_FALSE(isCameraRawFileType("jpg"));
}

}  // namespace
}  // namespace nua
