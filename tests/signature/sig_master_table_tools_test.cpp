// Rows of the master table against real files made by Debian's own tools: the row's header must
// stand at the row's offset. A missing tool skips its case.
#include "signature/sig_master_table.h"

#include <gtest/gtest.h>

#include <ostream>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace nua {
namespace {

struct ToolCase {
  const char* software;  // the row
  const char* tool;      // the program that must be installed: "<name>" or "<name>|<probe command>"
  const char* file;      // made in a fresh directory
  const char* command;   // run there
};

// Test listings name the row rather than dumping the pointers.
void PrintTo(const ToolCase& c, std::ostream* os) { *os << c.software; }

// A tool counts as installed when it is on the path and its probe (if any) succeeds, so a stand-in
// of the same name doesn't pass for the real program.
bool haveTool(const std::string& tool) {
  const auto bar = tool.find('|');
  const std::string name = tool.substr(0, bar);
  std::string probe = "command -v " + name + " >/dev/null 2>&1";
  if (bar != std::string::npos) probe += " && (" + tool.substr(bar + 1) + ") >/dev/null 2>&1";
  return std::system(probe.c_str()) == 0;
}

std::string toolName(const char* tool) {
  const std::string text = tool;
  return text.substr(0, text.find('|'));
}

class SigRowsAgainstTools : public ::testing::TestWithParam<ToolCase> {};

TEST_P(SigRowsAgainstTools, HeaderStandsAtTheRowsOffset) {
  const ToolCase c = GetParam();
  if (!haveTool(c.tool)) GTEST_SKIP() << toolName(c.tool) << " is not installed";
  std::ifstream tableFile(NUA_TEST_SIG_MASTER, std::ios::binary);
  const auto table = parseSigMasterTable(
      std::string((std::istreambuf_iterator<char>(tableFile)), std::istreambuf_iterator<char>()));
  ASSERT_TRUE(table.ok()) << table.reason;
  const auto row = std::find_if(table.rows.begin(), table.rows.end(), [&](const auto& r) { return r.software == c.software; });
  ASSERT_NE(row, table.rows.end()) << c.software;

  const auto dir = std::filesystem::temp_directory_path() /
                   ("nua-sigtool-" + toolName(c.tool) + "-" + std::to_string(row->line));
  std::filesystem::create_directories(dir);
  const std::string command = "cd '" + dir.string() + "' && (" + c.command + ") >/dev/null 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
  std::ifstream in(dir / c.file, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::filesystem::remove_all(dir);
  ASSERT_GE(bytes.size(), row->offset + row->headerBytes.size());
  for (std::size_t i = 0; i < row->headerBytes.size(); ++i) {
    EXPECT_EQ(static_cast<std::uint8_t>(bytes[row->offset + i]), row->headerBytes[i]) << c.software << " byte " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(
    DebianTools, SigRowsAgainstTools,
    ::testing::Values(
        ToolCase{"JPEG Image", "convert|convert -version | grep -q ImageMagick", "a.jpg", "convert -size 8x8 xc:red a.jpg"},
        ToolCase{"PNG Image", "convert|convert -version | grep -q ImageMagick", "a.png", "convert -size 8x8 xc:red a.png"},
        ToolCase{"GIF Image", "convert|convert -version | grep -q ImageMagick", "a.gif", "convert -size 8x8 xc:red a.gif"},
        ToolCase{"Windows Bitmap Image", "convert|convert -version | grep -q ImageMagick", "a.bmp", "convert -size 8x8 xc:red a.bmp"},
        ToolCase{"TIFF Image (Intel byte order)", "convert|convert -version | grep -q ImageMagick", "a.tif", "convert -size 8x8 xc:red -define tiff:endian=lsb a.tif"},
        ToolCase{"TIFF Image (Motorola byte order)", "convert|convert -version | grep -q ImageMagick", "a.tif", "convert -size 8x8 xc:red -define tiff:endian=msb a.tif"},
        ToolCase{"Photoshop Image", "convert|convert -version | grep -q ImageMagick", "a.psd", "convert -size 8x8 xc:red a.psd"},
        ToolCase{"JPEG Image", "cjpeg", "a.jpg", "printf 'P6\\n2 2\\n255\\n000000000000000000000000' > a.ppm && cjpeg a.ppm > a.jpg"},
        ToolCase{"ZIP Archive", "zip", "a.zip", "echo hello > a.txt && zip -q a.zip a.txt"},
        ToolCase{"WAV Audio", "sox", "a.wav", "sox -n -r 8000 a.wav trim 0 0.01"},
        ToolCase{"AIFF Audio", "sox", "a.aif", "sox -n -r 8000 -t aiff a.aif trim 0 0.01"},
        ToolCase{"AVI Video", "ffmpeg", "a.avi", "ffmpeg -f lavfi -i color=s=16x16:d=0.1 a.avi"},
        ToolCase{"MPEG-4 Video", "ffmpeg", "a.mp4", "ffmpeg -f lavfi -i color=s=16x16:d=0.1 a.mp4"},
        ToolCase{"QuickTime Movie", "ffmpeg", "a.mov", "ffmpeg -f lavfi -i color=s=16x16:d=0.1 a.mov"},
        ToolCase{"3GPP Video", "ffmpeg", "a.3gp", "ffmpeg -f lavfi -i color=s=176x144:d=0.1 -c:v h263 a.3gp"},
        ToolCase{"MPEG Video", "ffmpeg", "a.mpg", "ffmpeg -f lavfi -i color=s=16x16:d=0.1 -f vob a.mpg"},
        ToolCase{"Rich Text Document", "soffice", "a.rtf", "echo hello > a.txt && soffice --headless --convert-to rtf a.txt"}),
    [](const auto& p) { return std::to_string(p.index) + "_" + toolName(p.param.tool); });

}  // namespace
}  // namespace nua
