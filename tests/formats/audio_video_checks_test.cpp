// Audio and video checks on files made by sox and ffmpeg, and on built bytes for the edge cases.
#include <gtest/gtest.h>

#include "format_test_support.h"
#include "formats/format_checks.h"
#include "formats/mpeg_audio.h"

namespace nua::formats {
namespace {

using test::Bytes;
using test::runOn;

const char* kFfmpeg = "ffmpeg -hide_banner -version";
const char* kSox = "sox --version";

std::uint32_t le32Of(const std::vector<std::byte>& b, std::size_t at) { return le32(b, at); }

struct ToolMedia {
  const char* name;
  const char* probe;
  const char* command;
  const char* file;
  FormatCheck check;
  std::uint32_t typeOfFile;
  const char* extensionAfter;  // "" when the check leaves it
  bool jumps;
};

void PrintTo(const ToolMedia& c, std::ostream* os) { *os << c.name; }

class MediaWalkedToTheirEnd : public ::testing::TestWithParam<ToolMedia> {};

TEST_P(MediaWalkedToTheirEnd, SizeIsTheFilesOwnLength) {
  const auto& c = GetParam();
  if (!test::haveTool(c.probe)) GTEST_SKIP() << c.probe << " failed: tool not installed";
  const auto file = test::makeWithTool(c.name, c.command, c.file);
  ASSERT_TRUE(file.has_value()) << c.command;
  const auto outcome = runOn(*file, c.check, test::rowOfType(c.typeOfFile, "xyz"));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, file->size());
  EXPECT_EQ(outcome.row.skipFileSize, c.jumps);
  if (*c.extensionAfter != 0) {
    EXPECT_EQ(outcome.row.extension, c.extensionAfter);
  }
}

#define NUA_FF "ffmpeg -hide_banner -loglevel error -y "
#define NUA_TONE "-f lavfi -i sine=frequency=440:duration=3 "
#define NUA_PICTURE "-f lavfi -i testsrc=duration=2:size=160x120:rate=25 "

INSTANTIATE_TEST_SUITE_P(
    Formats, MediaWalkedToTheirEnd,
    ::testing::Values(
        ToolMedia{"wav", kSox, "sox -n -r 8000 -c 1 a.wav synth 1 sine 440", "a.wav", checkWavFile, 13, "", false},
        ToolMedia{"aiff", kSox, "sox -n -r 8000 -c 1 a.aiff synth 1 sine 440", "a.aiff", checkAiffFile, 28, "", false},
        ToolMedia{"mp3_with_id3", kFfmpeg, NUA_FF NUA_TONE "-c:a libmp3lame -b:a 128k a.mp3", "a.mp3", checkMp3File, 16, "", true},
        ToolMedia{"mp3_without_id3", kFfmpeg, NUA_FF NUA_TONE "-c:a libmp3lame -b:a 128k -id3v2_version 0 -write_xing 0 a.mp3",
                  "a.mp3", checkMp3File, 16, "", true},
        ToolMedia{"mp4", kFfmpeg, NUA_FF NUA_PICTURE "-c:v mpeg4 a.mp4", "a.mp4", checkMp4File, 17, "mp4", true},
        ToolMedia{"m4a", kFfmpeg, NUA_FF NUA_TONE "-c:a aac -f ipod a.m4a", "a.m4a", checkMp4File, 17, "m4a", true},
        ToolMedia{"m4v", kFfmpeg, NUA_FF NUA_PICTURE "-c:v mpeg4 -brand M4V a.m4v", "a.m4v", checkMp4File, 17, "m4v", true},
        ToolMedia{"3gp", kFfmpeg, NUA_FF NUA_PICTURE "-c:v mpeg4 -f 3gp a.3gp", "a.3gp", check3gppFile, 26, "", true},
        ToolMedia{"3g2", kFfmpeg, NUA_FF NUA_PICTURE "-c:v mpeg4 -f 3g2 a.3g2", "a.3g2", check3gpp2File, 27, "", true},
        ToolMedia{"mov", kFfmpeg, NUA_FF NUA_PICTURE "-c:v mpeg4 a.mov", "a.mov", checkMovFile, 15, "", false}),
    [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

TEST(Iso3gpFiles, MP4RowLeavesThemToThe3gpRows) {
  if (!test::haveTool(kFfmpeg)) GTEST_SKIP() << "ffmpeg is not installed";
  const auto file = test::makeWithTool("3gp_in_mp4", NUA_FF NUA_PICTURE "-c:v mpeg4 -f 3gp a.3gp", "a.3gp");
  ASSERT_TRUE(file.has_value());
  EXPECT_FALSE(runOn(*file, checkMp4File, test::rowOfType(17, "mp4")).found);
}

// The RIFF length plus 2048: an AVI is taken 2040 bytes longer than its RIFF says it is.
TEST(AviCheck, SizeIsTheRiffLengthPlus2048) {
  if (!test::haveTool(kFfmpeg)) GTEST_SKIP() << "ffmpeg is not installed";
  const auto file = test::makeWithTool("avi", NUA_FF NUA_PICTURE "-c:v mpeg4 a.avi", "a.avi");
  ASSERT_TRUE(file.has_value());
  const auto outcome = runOn(*file, checkAviFile, test::rowOfType(18));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, le32Of(*file, 4) + 2048u);
  EXPECT_EQ(outcome.row.foundSize, file->size() + 2040);
  EXPECT_FALSE(outcome.row.skipFileSize);
}

// Packs of one fixed size: the stream ends after the pack that holds the program end code.
TEST(MpegCheck, ProgramStreamMadeByFfmpeg) {
  if (!test::haveTool(kFfmpeg)) GTEST_SKIP() << "ffmpeg is not installed";
  const auto file = test::makeWithTool("mpeg_ps", NUA_FF NUA_PICTURE "-c:v mpeg1video -f mpeg a.mpg", "a.mpg");
  ASSERT_TRUE(file.has_value());
  // The period is the offset of the second pack header; count the packs that keep that rhythm.
  std::size_t period = 0;
  for (std::size_t q = 4; q + 4 <= file->size() && period == 0; ++q) {
    if (be32(*file, q) == 0x000001BA) period = q;
  }
  ASSERT_NE(period, 0u);
  std::size_t position = period;
  while (position + 4 <= file->size() && be32(*file, position) == 0x000001BA) {
    position += period;
    if (be32(*file, position - 4) == 0x000001B9) break;
  }
  const std::size_t expected = position + 4 <= file->size() && be32(*file, position) == 0x000001B9 ? position + 4 : position;
  auto placed = test::placeFile(*file);
  const auto outcome = test::runOn(placed, checkMpegFile, test::rowOfType(19));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, expected);
  if (period % 512 == 0) {
    // A pack that starts a sector is remembered, and a later find there is turned down at once.
    EXPECT_TRUE(placed.context.mpgDone.contains(placed.sector + period / 512));
    placed.sector += period / 512;
    EXPECT_FALSE(test::runOn(placed, checkMpegFile, test::rowOfType(19)).found);
  }
}

// The stream ends 4 bytes past its last start code: after it the zeros of the device run until the
// gap limit (a picture's bytes and more). A sequence header at a sector start past the first sector
// is the next file, and the walk stops just after it.
TEST(MpegCheck, ElementaryVideoMadeByFfmpegEndsAfterItsLastStartCode) {
  if (!test::haveTool(kFfmpeg)) GTEST_SKIP() << "ffmpeg is not installed";
  const auto file = test::makeWithTool("mpeg_es", NUA_FF NUA_PICTURE "-c:v mpeg1video -f mpeg1video a.m1v", "a.m1v");
  ASSERT_TRUE(file.has_value());
  std::size_t expected = 0;
  for (std::size_t d = 1; d + 4 <= file->size(); ++d) {
    if (be32(*file, d) / 256 != 1) continue;
    const std::uint32_t id = be32(*file, d) % 256;
    if (id == 0 || (id >= 0xB0 && id <= 0xB8 && id != 0xB7) || id == 0xB7) expected = d + 4;
    if (id == 0xB3 && d >= 512 && d % 512 == 0) break;
  }
  ASSERT_GE(expected, 10241u);
  const auto outcome = runOn(*file, checkMpegFile, test::rowOfType(19));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, expected);
  EXPECT_TRUE(outcome.row.skipFileSize);
}

// Null packets (47 1F FF 10 after the 4-byte time stamp) are the mark; the first 63 sectors are never
// looked at.
TEST(MtsCheck, M2tsMadeByFfmpegEndsAtTheFirstUnmarkedPacketAfterAMark) {
  if (!test::haveTool(kFfmpeg)) GTEST_SKIP() << "ffmpeg is not installed";
  const auto file = test::makeWithTool("m2ts", NUA_FF NUA_PICTURE "-c:v mpeg2video -f mpegts -mpegts_m2ts_mode 1 -muxrate 2000000 a.m2ts", "a.m2ts");
  ASSERT_TRUE(file.has_value());
  auto placed = test::placeFile(*file, 3, 200);
  const std::uint64_t sourceBytes = (placed.context.deviceEndSector - placed.sector) * 512;
  std::uint64_t expected = 0;
  bool seen = false;
  for (std::uint64_t p = 0;; p += 192) {
    const bool inFirstGroup = p < 63 * 512;
    const bool marked = !inFirstGroup && p + 8 <= file->size() && u8(*file, p + 4) == 0x47 && u8(*file, p + 5) == 0x1F &&
                        u8(*file, p + 6) == 0xFF && u8(*file, p + 7) == 0x10;
    if (marked) seen = true;
    if (seen && !marked) { expected = p; break; }
    if (p > sourceBytes) { expected = 5000000064; break; }
  }
  const auto outcome = test::runOn(placed, checkMtsFile, test::rowOfType(31));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, expected);
}

// MPEG-2.5 layer III at 8 kHz and 8 kbps: frames of 72 bytes, but the walk steps 144, every second
// frame; with an odd count its last step lands one frame past the end.
TEST(Mp3Check, Mpeg25At8kHzIsWalkedEverySecondFrame) {
  if (!test::haveTool(kFfmpeg)) GTEST_SKIP() << "ffmpeg is not installed";
  const auto file = test::makeWithTool(
      "mp3_8khz", NUA_FF "-f lavfi -i sine=frequency=440:duration=2.5:sample_rate=8000 -c:a libmp3lame -b:a 8k "
                  "-id3v2_version 0 -write_xing 0 a.mp3", "a.mp3");
  ASSERT_TRUE(file.has_value());
  const auto first = decodeMpegAudioFrameHeader(be32(*file, 0));
  ASSERT_EQ(first.version, 4u);
  ASSERT_EQ(file->size() % 72, 0u);
  const std::uint64_t frames = file->size() / 72;
  const auto outcome = runOn(*file, checkMp3File, test::rowOfType(16));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 144 * ((frames + 1) / 2));
}

// A WAV holding MP3 has a data chunk far longer than one sector, so the wrapper walk turns it down.
TEST(WavCheck, Mp3InWavMadeByFfmpegIsTurnedDown) {
  if (!test::haveTool(kFfmpeg)) GTEST_SKIP() << "ffmpeg is not installed";
  const auto file = test::makeWithTool("mp3_in_wav", NUA_FF NUA_TONE "-c:a libmp3lame -f wav a.wav", "a.wav");
  ASSERT_TRUE(file.has_value());
  ASSERT_EQ(le16(*file, 20), 85u);
  EXPECT_FALSE(runOn(*file, checkWavFile, test::rowOfType(13)).found);
}

// Frames of MPEG-1 layer III at 128 kbps and 44.1 kHz, no padding: 417 bytes each.
Bytes mp3Frames(std::size_t frames, std::size_t at = 0, std::uint32_t header = 0xFFFB9000) {
  Bytes b;
  for (std::size_t i = 0; i < frames; ++i) b.be32(at + i * 417, header).fill(at + i * 417 + 4, 413, 0x11);
  return b;
}

TEST(Mp3Check, TenFramesStandNineDoNot) {
  // Protection bit 1 (no CRC): the step is the frame length.
  EXPECT_FALSE(runOn(mp3Frames(9).data(), checkMp3File).found);
  const auto ten = runOn(mp3Frames(10).data(), checkMp3File);
  ASSERT_TRUE(ten.found);
  EXPECT_EQ(ten.row.foundSize, 4170u);
  EXPECT_EQ(ten.row.skipSize, 4170u / 512);
}

TEST(Mp3Check, FramesWithoutCrcFlagStepTwoBytesFurther) {
  // Protection bit 0 says a CRC follows; the walk then steps frame length plus 2.
  Bytes b;
  for (std::size_t i = 0; i < 12; ++i) b.be32(i * 419, 0xFFFA9000).fill(i * 419 + 4, 415, 0x11);
  const auto outcome = runOn(b.data(), checkMp3File);
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 12u * 419);
}

TEST(Mp3Check, FrameLengthUsesTheLayerThreeFactorForEveryVersion) {
  // MPEG-2.5 layer III, 8 kbps, 8 kHz: 144000 * 8 / 8000 = 144 bytes, twice the frame's real length.
  const auto h = decodeMpegAudioFrameHeader(0xFFE31800);
  EXPECT_EQ(h.version, 4u);
  EXPECT_EQ(h.layer, 3u);
  EXPECT_EQ(mp3SampleRate(4, 2), 8000u);
  EXPECT_EQ(h.frameLength, 144u);
  EXPECT_EQ(decodeMpegAudioFrameHeader(0xFFFE9000).frameLength, (288u * 12000 / 44100) * 4) << "layer I, index 9";
}

TEST(Mp3Check, Id3SizeWithAHighBitIsFalse) {
  Bytes b = mp3Frames(20, 100);
  b.text(0, "ID3").u8(3, 3).be32(6, 0x00000080 | 90);
  EXPECT_FALSE(runOn(b.data(), checkMp3File).found);
  b.be32(6, 90);
  const auto outcome = runOn(b.data(), checkMp3File);
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 100u + 20 * 417);
}

TEST(Mp3Check, ASectorInTheDoneListIsTurnedDownAtOnce) {
  auto placed = test::placeFile(mp3Frames(40).data());
  ASSERT_TRUE(test::runOn(placed, checkMp3File).found);
  EXPECT_TRUE(placed.context.mp3Done.contains(placed.sector));
  EXPECT_FALSE(test::runOn(placed, checkMp3File).found);
  // Frame 27 starts at 27 * 417 = 11259, not a sector start; frame 0 does.
  EXPECT_EQ(placed.context.mp3Done.sectors().front(), placed.sector);
}

TEST(Mp3Check, RiffWrapperIsComparedWithoutASwapSoARealWavIsTurnedDown) {
  // A WAV holding MPEG audio whose small data chunk fits the first sector; behind it a second RIFF
  // head, whose chunk walk looks for the bytes "atad", which a real file doesn't hold.
  Bytes b;
  b.text(0, "RIFF").le32(4, 100).text(8, "WAVE").text(12, "fmt ").le32(16, 30).le16(20, 85);
  b.text(50, "data").le32(54, 4);
  b.text(62, "RIFF").text(70, "WAVE").text(74, "fmt ").le32(78, 16).le16(82, 85).text(98, "data").le32(102, 5004);
  const Bytes frames = mp3Frames(12);
  for (std::size_t i = 0; i < frames.size(); ++i) b.u8(106 + i, static_cast<std::uint8_t>(frames.data()[i]));
  EXPECT_FALSE(runOn(b.data(), checkWavFile, test::rowOfType(13)).found);
  Bytes swapped = b;
  swapped.text(98, "atad");
  const auto outcome = runOn(swapped.data(), checkWavFile, test::rowOfType(13));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 106u + 12 * 417);
}

TEST(WavCheck, Format85WithoutFramesIsFalse) {
  Bytes b;
  b.text(0, "RIFF").le32(4, 40).text(8, "WAVE").text(12, "fmt ").le32(16, 16).le16(20, 85).text(36, "data").le32(40, 4);
  b.resize(4096);
  EXPECT_FALSE(runOn(b.data(), checkWavFile, test::rowOfType(13)).found);
}

TEST(MovCheck, AnUpperCaseAtomEndsTheWalkAndMovDoesNotJump) {
  Bytes b;
  b.be32(0, 20).text(4, "ftyp").be32(20, 1000).text(24, "Wide").be32(1020, 8).text(1024, "free");
  const auto outcome = runOn(b.data(), checkMovFile, test::rowOfType(15));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 20u);
  EXPECT_FALSE(outcome.row.skipFileSize);
}

TEST(Mp4Check, AnAtomPastTheDeviceEndEndsTheWalkBeforeIt) {
  Bytes b;
  b.be32(0, 24).text(4, "ftyp").text(8, "isom").be32(24, 0x7FFFFFF0).text(28, "mdat");
  auto placed = test::placeFile(b.data(), 3, 10);
  const auto outcome = test::runOn(placed, checkMp4File, test::rowOfType(17));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 24u);
  EXPECT_EQ(outcome.row.extension, "mp4");
}

TEST(Mp4Check, AtomSizesThatWrapThe32BitPositionEndTheWalk) {
  // 0xFFFFFFF8 + 16 would wrap to 8 and walk the same atoms again.
  Bytes b;
  b.be32(0, 0xFFFFFFF8).text(4, "mdat");
  auto placed = test::placeFile(b.data(), 0, 0);
  placed.context.deviceEndSector = 1ull << 40;  // a device larger than the position can count
  const auto outcome = test::runOn(placed, checkMovFile, test::rowOfType(15));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 0xFFFFFFF8u);
}

TEST(MidiCheck, HeaderOnlyGivesItsLengthPlusTen) {
  Bytes b;
  b.text(0, "MThd").be32(4, 6).be16(8, 0).be16(10, 1).be16(12, 96);
  const auto outcome = runOn(b.data(), checkMidiFile, test::rowOfType(14));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 16u);
  b.text(14, "MTrk").be32(18, 100);
  EXPECT_EQ(runOn(b.data(), checkMidiFile, test::rowOfType(14)).row.foundSize, 16u + 108);
}

TEST(MpegCheck, ProgramStreamWithASinglePackIsFalse) {
  Bytes b;
  b.be32(0, 0x000001BA).fill(4, 2000, 0x22).be32(2004, 0x000001B9);
  EXPECT_FALSE(runOn(b.data(), checkMpegFile, test::rowOfType(19)).found);
}

TEST(MpegCheck, ElementaryStreamShorterThan10241BytesGetsSize0) {
  Bytes b;
  b.be32(0, 0x000001B3).be16(4, 0x0A00).u8(6, 0x78);  // 160 x 120
  b.be32(200, 0x00000100).fill(204, 3000, 0x33).be32(3204, 0x000001B7);
  const auto outcome = runOn(b.data(), checkMpegFile, test::rowOfType(19));
  ASSERT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 0u);
}

TEST(MpegCheck, NeitherPackNorSequenceHeaderStandsWithSize0) {
  const auto outcome = runOn(Bytes().be32(0, 0x000001BB).resize(512).data(), checkMpegFile, test::rowOfType(19));
  EXPECT_TRUE(outcome.found);
  EXPECT_EQ(outcome.row.foundSize, 0u);
}

TEST(AiffCheck, WithoutFormIsFalse) {
  EXPECT_FALSE(runOn(Bytes().text(0, "FORX").be32(4, 100).data(), checkAiffFile).found);
}

}  // namespace
}  // namespace nua::formats
