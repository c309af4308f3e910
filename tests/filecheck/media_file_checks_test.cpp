// The sound and movie checks against real files made by sox, lame, ffmpeg and abc2midi, and the
// formats no Debian tool writes (AMR, RealAudio) from byte builders.
#include <gtest/gtest.h>

#include <functional>

#include "file_check_test_support.h"
#include "filecheck/aif_file_check.h"
#include "filecheck/amr_file_check.h"
#include "filecheck/avi_file_check.h"
#include "filecheck/m4a_file_check.h"
#include "filecheck/m4b_file_check.h"
#include "filecheck/m4v_file_check.h"
#include "filecheck/mid_file_check.h"
#include "filecheck/mov_file_check.h"
#include "filecheck/mp3_file_check.h"
#include "filecheck/mp4_file_check.h"
#include "filecheck/mpg_file_check.h"
#include "filecheck/ra_file_check.h"
#include "filecheck/rm_file_check.h"
#include "filecheck/three_g_two_file_check.h"
#include "filecheck/three_gp_file_check.h"
#include "filecheck/wav_file_check.h"

namespace nua {
namespace {

using namespace testing_support;

using MakeCheck = std::function<std::unique_ptr<FileCheck>(SectorSource&, FileCheckScanState&)>;
template <typename Check>
MakeCheck maker() {
  return [](SectorSource& s, FileCheckScanState& st) { return std::make_unique<Check>(s, st); };
}

// RealMedia is measured by the sum of its top-level chunk lengths, without margin.
std::uint64_t rmChunkSum(const Bytes& f) {
  std::uint64_t at = 0;
  while (at + 8 <= f.size() && be32(f, at + 4) >= 8) at += be32(f, at + 4);
  return at;
}
// An elementary stream without a sequence end runs to its last data byte (zero stuffing aside).
std::uint64_t toLastDataByte(const Bytes& f) {
  std::uint64_t end = f.size();
  while (end > 0 && f[end - 1] == std::byte{0}) --end;
  return end;
}
std::uint64_t plusSector(const Bytes& f) { return f.size() + 512; }
std::uint64_t asIs(const Bytes& f) { return f.size(); }
// An ID3v1 tag at the end is no frame: the walk stops ahead of it.
std::uint64_t mp3Rule(const Bytes& f) {
  const bool v1 = f.size() > 128 && static_cast<char>(f[f.size() - 128]) == 'T' &&
                  static_cast<char>(f[f.size() - 127]) == 'A' && static_cast<char>(f[f.size() - 126]) == 'G';
  return f.size() - (v1 ? 128 : 0) + 512;
}

struct MediaCase {
  const char* name;
  const char* tool;
  const char* command;
  const char* file;
  MakeCheck makeCheck;
  std::uint64_t (*expectedSize)(const Bytes& file);
  bool asksForJump;  // the check must set skipFileSize
};
void PrintTo(const MediaCase& c, std::ostream* os) { *os << c.name; }

class MediaChecksOnRealFiles : public ::testing::TestWithParam<MediaCase> {};

TEST_P(MediaChecksOnRealFiles, FoundAtTheFirstSectorOnlyAndMeasuredByTheRule) {
  const MediaCase& c = GetParam();
  if (!haveTool(c.tool)) GTEST_SKIP() << c.tool << " is not installed";
  const auto file = makeWithTool(c.command, c.file);
  ASSERT_TRUE(file) << c.command;
  MemorySectorSource source = deviceWithFile(*file);
  FileCheckScanState state;
  auto check = c.makeCheck(source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  ASSERT_TRUE(check->isFile(first, kFileSector));
  EXPECT_EQ(check->fileSizeCalculation(first, kFileSector), c.expectedSize(*file)) << "file of " << file->size();
  EXPECT_EQ(state.skipFileSize, c.asksForJump);
  EXPECT_FALSE(check->isFile(headerOfSector(source, kFileSector + 1), kFileSector + 1));
}

constexpr const char* kSine = "-f lavfi -i sine=d=2";
#define VIDEO "-f lavfi -i testsrc=size=160x128:rate=10:d=2"

INSTANTIATE_TEST_SUITE_P(
    DebianTools, MediaChecksOnRealFiles,
    ::testing::Values(
        MediaCase{"wav", "sox", "sox -n -r 8000 -c 1 a.wav synth 1 sine 440", "a.wav", maker<WavFileCheck>(), asIs, false},
        MediaCase{"aiff", "sox", "sox -n -r 8000 -c 1 a.aiff synth 1 sine 440", "a.aiff", maker<AifFileCheck>(),
                  plusSector, false},
        MediaCase{"aiff_annotated", "sox", "sox -n -r 8000 -c 1 --comment odd a.aiff synth 1 sine 440", "a.aiff",
                  maker<AifFileCheck>(), plusSector, false},
        MediaCase{"mp3", "lame", "sox -n -r 44100 -c 2 a.wav synth 3 sine 440 && lame --silent a.wav a.mp3", "a.mp3",
                  maker<Mp3FileCheck>(), mp3Rule, true},
        MediaCase{"mp3_id3", "lame",
                  "sox -n -r 44100 -c 2 a.wav synth 3 sine 440 && lame --silent --add-id3v2 --tt Title a.wav a.mp3",
                  "a.mp3", maker<Mp3FileCheck>(), mp3Rule, true},
        MediaCase{"mp2", "ffmpeg", "ffmpeg -v error -f lavfi -i sine=d=3 -c:a mp2 -f mp2 a.mp2", "a.mp2",
                  maker<Mp3FileCheck>(), plusSector, true},
        MediaCase{"mid", "abc2midi",
                  "{ printf 'X:1\\nT:t\\nM:4/4\\nL:1/8\\nK:C\\n'; for i in $(seq 300); do printf 'CDEF GABc|'; done; "
                  "printf '\\n'; } > a.abc && abc2midi a.abc -o a.mid",
                  "a.mid", maker<MidFileCheck>(), asIs, false},
        MediaCase{"avi", "ffmpeg", "ffmpeg -v error " VIDEO " -c:v mpeg4 a.avi", "a.avi", maker<AviFileCheck>(), asIs,
                  false},
        MediaCase{"rm", "ffmpeg", "ffmpeg -v error " VIDEO " -f lavfi -i sine=d=2:sample_rate=8000 -c:v rv10 "
                  "-c:a real_144 -ac 1 -f rm a.rm", "a.rm", maker<RmFileCheck>(), rmChunkSum, false},
        MediaCase{"mp4", "ffmpeg", "ffmpeg -v error " VIDEO " -c:v mpeg4 a.mp4", "a.mp4", maker<Mp4FileCheck>(),
                  plusSector, false},
        MediaCase{"mp4_faststart", "ffmpeg", "ffmpeg -v error " VIDEO " -c:v mpeg4 -movflags faststart a.mp4", "a.mp4",
                  maker<Mp4FileCheck>(), plusSector, false},
        MediaCase{"mov", "ffmpeg", "ffmpeg -v error " VIDEO " -c:v mpeg4 a.mov", "a.mov", maker<MovFileCheck>(),
                  plusSector, false},
        MediaCase{"3gp", "ffmpeg", "ffmpeg -v error " VIDEO " -c:v mpeg4 -f 3gp a.3gp", "a.3gp",
                  maker<ThreeGpFileCheck>(), plusSector, false},
        MediaCase{"3g2", "ffmpeg", "ffmpeg -v error " VIDEO " -c:v mpeg4 -f 3g2 a.3g2", "a.3g2",
                  maker<ThreeGTwoFileCheck>(), plusSector, false},
        MediaCase{"m4a", "ffmpeg", "ffmpeg -v error -f lavfi -i sine=d=2 -c:a aac -f ipod a.m4a", "a.m4a",
                  maker<M4aFileCheck>(), plusSector, false},
        MediaCase{"m4b", "ffmpeg", "ffmpeg -v error -f lavfi -i sine=d=2 -c:a aac -brand 'M4B ' -f ipod a.m4b", "a.m4b",
                  maker<M4bFileCheck>(), plusSector, false},
        MediaCase{"m4v", "ffmpeg", "ffmpeg -v error " VIDEO " -c:v mpeg4 -brand 'M4V ' -f mp4 a.m4v", "a.m4v",
                  maker<M4vFileCheck>(), plusSector, false},
        // An elementary video stream without a sequence end code: the walk runs to its last data byte.
        MediaCase{"m1v", "ffmpeg", "ffmpeg -v error -f lavfi -i testsrc=size=160x120:rate=25:d=2 -c:v mpeg1video "
                  "-f mpeg1video a.m1v", "a.m1v", maker<MpgFileCheck>(), toLastDataByte, true},
        // Shorter than 10241 bytes: its length, and no jump asked for.
        MediaCase{"m1v_short", "ffmpeg", "ffmpeg -v error -f lavfi -i testsrc=size=64x48:rate=25:d=0.08 -c:v mpeg1video "
                  "-f mpeg1video a.m1v", "a.m1v", maker<MpgFileCheck>(), toLastDataByte, false}));

// Program streams: the walk goes past the end code into what follows and tolerates a stretch of it,
// so the size covers the file and then some; strays between packs don't end the walk.
class MpegProgramStream : public ::testing::TestWithParam<bool> {};

TEST_P(MpegProgramStream, CoversTheFileWithRegularAndIrregularPacks) {
  if (!haveTool("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
  // Packets of 2324 bytes, as on a video CD: the walk's look-ahead spans five of them.
  auto file = makeWithTool("ffmpeg -v error -f lavfi -i testsrc=size=160x120:rate=25:d=2 -f lavfi -i sine=d=2 "
                           "-c:v mpeg1video -c:a mp2 -packetsize 2324 -f mpeg a.mpg", "a.mpg");
  ASSERT_TRUE(file);
  if (GetParam()) {
    // Irregular: a pack header damaged into stray bytes, with the stream going on 11620 bytes later.
    std::size_t damaged = 0;
    for (std::size_t at = 4; at + 11624 < file->size() && damaged == 0; ++at) {
      if (be32(*file, at) == 0x1BA && be32(*file, at + 11620) == 0x1BA) damaged = at;
    }
    ASSERT_NE(damaged, 0u);
    std::fill_n(file->begin() + static_cast<std::ptrdiff_t>(damaged), 12, std::byte{0x55});
  }
  MemorySectorSource source = deviceWithFile(*file, Bytes(65536));
  FileCheckScanState state;
  MpgFileCheck check(source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  ASSERT_TRUE(check.isFile(first, kFileSector));
  EXPECT_EQ(state.baFrameValue, 12u);  // MPEG-1 pack header, then the system header
  const std::uint64_t size = check.fileSizeCalculation(first, kFileSector);
  EXPECT_GE(size, file->size());
  EXPECT_LE(size, file->size() + 11620 + 200);
  EXPECT_TRUE(state.skipFileSize);
}

INSTANTIATE_TEST_SUITE_P(Packs, MpegProgramStream, ::testing::Values(false, true));

// AMR: "#!AMR\n" (or "#!AMR-WB\n") and frames, each as long as its header byte says.
Bytes amrFile(bool wideBand, int frames) {
  Bytes file = bytesOf(wideBand ? "#!AMR-WB\n" : "#!AMR\n");
  const int headerByte = 60;  // mode 7
  const std::size_t length = wideBand ? 59 : 32;
  for (int i = 0; i < frames; ++i) {
    file.push_back(static_cast<std::byte>(headerByte));
    file.resize(file.size() + length - 1, std::byte{0x5A});
  }
  return file;
}

TEST(AmrFileCheck, NarrowAndWideBandFramesAreWalkedToTheEndWithoutMargin) {
  for (const bool wideBand : {false, true}) {
    const Bytes file = amrFile(wideBand, 400);
    MemorySectorSource source = deviceWithFile(file);
    FileCheckScanState state;
    AmrFileCheck check(source, state);
    const Bytes first = headerOfSector(source, kFileSector);
    ASSERT_TRUE(check.isFile(first, kFileSector));
    EXPECT_EQ(check.fileSizeCalculation(first, kFileSector), file.size()) << wideBand;
  }
}

TEST(Mp3FileCheck, AShortStreamGives512AndAsksForNoJump) {
  Bytes file;
  for (int i = 0; i < 10; ++i) {  // ten MPEG-1 layer III frames of 128 kbit/s at 44.1 kHz: 417 bytes each
    for (int b : {0xFF, 0xFB, 0x90, 0x00}) file.push_back(static_cast<std::byte>(b));
    file.resize(file.size() + 413, std::byte{0x11});
  }
  MemorySectorSource source = deviceWithFile(file);
  FileCheckScanState state;
  Mp3FileCheck check(source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  ASSERT_TRUE(check.isFile(first, kFileSector));
  EXPECT_EQ(check.fileSizeCalculation(first, kFileSector), 512u);
  EXPECT_FALSE(state.skipFileSize);
}

TEST(MovieChecks, AZeroBoxLengthEndsThe3gpWalkAndStepsBy8InQuickTime) {
  // ftyp, then a zero-length "free", then a big "mdat".
  Bytes movie(32);
  putBe32(movie, 0, 20);
  putText(movie, 4, "ftypqt  ");
  putBe32(movie, 20, 0);
  putText(movie, 24, "free");
  putBe32(movie, 28, 20000);
  putText(movie, 32, "mdat");
  movie.resize(28 + 20000, std::byte{0x33});
  Bytes threeGp = movie;
  putText(threeGp, 8, "3gp4");
  MemorySectorSource movSource = deviceWithFile(movie);
  MemorySectorSource gpSource = deviceWithFile(threeGp);
  FileCheckScanState state;
  MovFileCheck mov(movSource, state);
  ThreeGpFileCheck gp(gpSource, state);
  EXPECT_EQ(mov.fileSizeCalculation(movie, kFileSector), 28u + 20000 + 512);
  EXPECT_EQ(gp.fileSizeCalculation(threeGp, kFileSector), 512u);  // 20 bytes: a trace worth keeping
}

TEST(RaFileCheck, Version4HeaderAndTrailingRaTCAreCounted) {
  const std::size_t tc = 16 + 48 + 3000;  // header, its rest, the data; then the RaTC chunk
  Bytes file(tc + 20, std::byte{0x21});
  std::fill_n(file.begin(), 64, std::byte{0});
  putText(file, 0, ".ra");
  file[3] = std::byte{0xFD};
  putBe16(file, 4, 4);
  putText(file, 8, ".ra4");
  putBe32(file, 12, 3000);  // data size
  putBe32(file, 18, 48);    // header size from byte 16
  putText(file, tc, "RaTC");
  putBe32(file, tc + 4, 12);
  MemorySectorSource source = deviceWithFile(file);
  FileCheckScanState state;
  RaFileCheck check(source, state);
  const Bytes first = headerOfSector(source, kFileSector);
  ASSERT_TRUE(check.isFile(first, kFileSector));
  EXPECT_EQ(check.fileSizeCalculation(first, kFileSector), tc + 20);
}

}  // namespace
}  // namespace nua
