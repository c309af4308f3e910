// Picture sizes in points for the RTFD attachment match, on files made by ImageMagick with and
// without a resolution.
#include "formats/image_probe.h"

#include <gtest/gtest.h>

#include "format_test_support.h"

namespace nua::formats {
namespace {

struct ProbeCase {
  const char* name;
  const char* command;
  const char* file;
  int widthPoints;
  int heightPoints;
};

void PrintTo(const ProbeCase& c, std::ostream* os) { *os << c.name; }

class ImageProbeOnRealFiles : public ::testing::TestWithParam<ProbeCase> {};

TEST_P(ImageProbeOnRealFiles, PointsAreThePixelsAtTheFilesResolution) {
  const auto& c = GetParam();
  if (!test::haveTool(test::kImageMagick)) GTEST_SKIP() << "ImageMagick convert is not installed";
  const auto file = test::makeWithTool(std::string("probe_") + c.name, c.command, c.file);
  ASSERT_TRUE(file.has_value()) << c.command;
  const ImageProbe probe = probeImage(*file);
  ASSERT_TRUE(probe.valid);
  EXPECT_EQ(static_cast<int>(probe.widthPoints()), c.widthPoints);
  EXPECT_EQ(static_cast<int>(probe.heightPoints()), c.heightPoints);
  EXPECT_TRUE(probe.matchesRtfGraphic(c.widthPoints, c.heightPoints));
  EXPECT_FALSE(probe.matchesRtfGraphic(c.widthPoints + 1, c.heightPoints));
}

INSTANTIATE_TEST_SUITE_P(
    Formats, ImageProbeOnRealFiles,
    ::testing::Values(
        ProbeCase{"png_plain", "convert -size 120x80 xc:red a.png", "a.png", 120, 80},
        ProbeCase{"png_144dpi", "convert -size 120x80 xc:red -units PixelsPerInch -density 144 a.png", "a.png", 60, 40},
        ProbeCase{"jpeg_plain", "convert -size 120x80 xc:red a.jpg", "a.jpg", 120, 80},
        ProbeCase{"jpeg_144dpi", "convert -size 120x80 xc:red -units PixelsPerInch -density 144 a.jpg", "a.jpg", 60, 40},
        ProbeCase{"gif", "convert -size 120x80 xc:red a.gif", "a.gif", 120, 80},
        ProbeCase{"bmp_144dpi", "convert -size 120x80 xc:red -units PixelsPerInch -density 144 a.bmp", "a.bmp", 60, 40},
        ProbeCase{"tiff_144dpi_big_endian",
                  "convert -size 120x80 xc:red -units PixelsPerInch -density 144 -define tiff:endian=msb a.tif", "a.tif",
                  60, 40},
        ProbeCase{"tiff_plain_little_endian", "convert -size 120x80 xc:red -define tiff:endian=lsb a.tif", "a.tif", 120,
                  80}),
    [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

TEST(ImageProbe, UnknownAndTruncatedBytesAreInvalid) {
  EXPECT_FALSE(probeImage({}).valid);
  test::Bytes png;
  png.text(0, "\x89PNG\r\n\x1a\n").be32(8, 13).text(12, "IHDR").be32(16, 10).be32(20, 10);
  for (std::size_t length = 0; length < 33; ++length) {
    EXPECT_FALSE(probeImage(ByteSpan(png.data()).first(std::min(length, png.size()))).valid) << length;
  }
  EXPECT_FALSE(probeImage(test::Bytes().text(0, "hello world, no picture").data()).valid);
}

}  // namespace
}  // namespace nua::formats
