// Sample files for the signature search scenarios, from the kit's own encoders and the Debian tools.
#include "imagekit/carve_samples.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "imagekit/demo_photo.h"
#include "imagekit/fat_builder.h"
#include "imagekit/fat_tool_runner.h"
#include "imagekit/jpeg_encoder.h"
#include "imagekit/png_encoder.h"

namespace nua::imagekit {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kTarBlock = 512;

struct ToolSample {
  const char* format;
  const char* tool;
  // The command with "%o" for the output path and "%s" for a number taken from the seed.
  std::vector<std::string> arguments;
};

// Every tool writes with its time stamps and version texts turned off (ffmpeg's bitexact flags, sox's
// empty comment, ImageMagick's -strip), so the bytes depend on the arguments alone.
std::vector<ToolSample> toolSamples() {
  const std::vector<std::string> ff = {"ffmpeg", "-hide_banner", "-loglevel", "error", "-y", "-f", "lavfi"};
  const auto movie = [&](const char* format, std::vector<std::string> codec) {
    std::vector<std::string> args = ff;
    for (const char* a : {"-i", "testsrc=duration=1:size=160x120:rate=%s", "-c:v", "mpeg4", "-fflags", "+bitexact",
                          "-flags:v", "+bitexact"}) {
      args.emplace_back(a);
    }
    args.insert(args.end(), codec.begin(), codec.end());
    args.emplace_back("%o");
    return ToolSample{format, "ffmpeg", args};
  };
  std::vector<std::string> mp3 = ff;
  for (const char* a : {"-i", "sine=frequency=%s:duration=2", "-c:a", "libmp3lame", "-b:a", "64k", "-fflags", "+bitexact",
                        "-flags:a", "+bitexact", "%o"}) {
    mp3.emplace_back(a);
  }
  return {
      {"gif", "convert", {"convert", "-seed", "%s", "-size", "160x120", "plasma:fractal", "-strip", "%o"}},
      {"bmp", "convert", {"convert", "-size", "120x90", "gradient:green-yellow", "-rotate", "%s", "%o"}},
      {"tif", "convert",
       {"convert", "-size", "150x100", "gradient:blue-white", "-rotate", "%s", "-strip", "-define", "tiff:endian=lsb",
        "%o"}},
      {"wav", "sox", {"sox", "-n", "-r", "8000", "-c", "1", "--comment", "", "%o", "synth", "1", "sine", "%s"}},
      {"aiff", "sox", {"sox", "-n", "-r", "8000", "-c", "1", "--comment", "", "%o", "synth", "1", "sine", "%s"}},
      {"mp3", "ffmpeg", mp3},
      movie("mp4", {}),
      movie("mov", {}),
      movie("avi", {}),
  };
}

std::vector<std::byte> readWholeFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> chars((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<std::byte> bytes(chars.size());
  for (std::size_t i = 0; i < chars.size(); ++i) bytes[i] = static_cast<std::byte>(chars[i]);
  return bytes;
}

std::string substitute(std::string text, const std::string& output, std::uint64_t number) {
  if (const auto at = text.find("%o"); at != std::string::npos) text.replace(at, 2, output);
  if (const auto at = text.find("%s"); at != std::string::npos) text.replace(at, 2, std::to_string(number));
  return text;
}

std::uint64_t nextRandom(std::uint64_t& state) {
  state = state * 6364136223846793005ULL + 1442695040888963407ULL;
  return state >> 33U;
}

void putOctal(std::vector<std::byte>& block, std::size_t at, std::size_t width, std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "%0*llo", static_cast<int>(width - 1), static_cast<unsigned long long>(value));
  for (std::size_t i = 0; i + 1 < width; ++i) block[at + i] = static_cast<std::byte>(text[i]);
}

}  // namespace

std::vector<std::byte> carveJpeg(std::uint64_t seed, std::uint32_t approxBytes) {
  // About 1.5 bytes a pixel with full grain at quality 85.
  const auto pixels = static_cast<std::uint32_t>(approxBytes / 1.5);
  std::uint32_t width = 64;
  while (width * width * 3 / 4 < pixels) width += 16;
  return encodeJpeg(makePhoto(width, width * 3 / 4, seed, 40), 85);
}

bool makeCarveSamples(std::uint64_t seed, std::vector<CarveSample>& samples, std::vector<std::string>& missing,
                      std::string& error) {
  samples.push_back({"jpg", "photo " + std::to_string(seed) + ".jpg", carveJpeg(seed * 31 + 1, 24000)});
  samples.push_back({"png", "chart " + std::to_string(seed) + ".png",
                     encodePng(makePhoto(180, 120, seed * 31 + 2, 6))});
  char pattern[] = "/tmp/nua-carve-samples-XXXXXX";
  if (::mkdtemp(pattern) == nullptr) {
    error = "cannot make a scratch folder for the sample files";
    return false;
  }
  const fs::path scratch = pattern;
  bool ok = true;
  for (const ToolSample& tool : toolSamples()) {
    if (findTool(tool.tool).empty()) {
      missing.emplace_back(tool.format);
      continue;
    }
    // Numbers that keep every tool in its valid range: a rotation, a frequency, a frame rate.
    const std::uint64_t number = tool.format == std::string("bmp") || tool.format == std::string("tif")
                                     ? 90 * (seed % 4)
                                     : (tool.tool == std::string("convert") ? seed : 300 + 40 * (seed % 10));
    const std::uint64_t rate = 20 + seed % 6;
    const fs::path output = scratch / ("sample." + std::string(tool.format));
    std::vector<std::string> arguments;
    for (const std::string& a : tool.arguments) {
      arguments.push_back(substitute(a, output.string(), a.find("rate=") != std::string::npos ? rate : number));
    }
    if (!runToolChecked(arguments, error)) {
      ok = false;
      break;
    }
    samples.push_back({tool.format, std::string(tool.format) + " sample " + std::to_string(seed) + "." + tool.format,
                       readWholeFile(output)});
  }
  fs::remove_all(scratch);
  return ok;
}

std::vector<CarveSample> makeCarveDecoys(std::uint64_t seed, std::size_t lengthBytes) {
  const std::vector<std::pair<const char*, std::vector<std::uint8_t>>> headers = {
      {"jpg", {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0x00}},
      {"png", {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A}},
      {"gif", {'G', 'I', 'F', '8', '9', 'a'}},
      {"bmp", {'B', 'M'}},
      {"wav", {'R', 'I', 'F', 'F', 0x00, 0x10, 0x00, 0x00, 'W', 'A', 'V', 'E'}},
      {"avi", {'R', 'I', 'F', 'F', 0x00, 0x10, 0x00, 0x00, 'A', 'V', 'I', ' '}},
  };
  std::vector<CarveSample> decoys;
  std::uint64_t state = seed * 0x9E3779B97F4A7C15ULL + 7;
  for (const auto& [format, header] : headers) {
    CarveSample decoy{format, std::string("decoy.") + format, std::vector<std::byte>(lengthBytes)};
    for (std::byte& b : decoy.bytes) b = static_cast<std::byte>(nextRandom(state));
    for (std::size_t i = 0; i < header.size() && i < lengthBytes; ++i) decoy.bytes[i] = static_cast<std::byte>(header[i]);
    decoys.push_back(std::move(decoy));
  }
  return decoys;
}

std::vector<std::byte> makeTarArchive(const std::vector<CarveSample>& members) {
  std::vector<std::byte> tar;
  for (const CarveSample& member : members) {
    std::vector<std::byte> block(kTarBlock);
    for (std::size_t i = 0; i < member.name.size() && i < 99; ++i) block[i] = static_cast<std::byte>(member.name[i]);
    putOctal(block, 100, 8, 0644);
    putOctal(block, 108, 8, 0);
    putOctal(block, 116, 8, 0);
    putOctal(block, 124, 12, member.bytes.size());
    putOctal(block, 136, 12, 0);
    block[156] = std::byte{'0'};
    const char magic[] = "ustar\0" "00";
    for (std::size_t i = 0; i < 8; ++i) block[257 + i] = static_cast<std::byte>(magic[i]);
    // The checksum counts its own field as eight spaces.
    for (std::size_t i = 0; i < 8; ++i) block[148 + i] = std::byte{' '};
    std::uint64_t sum = 0;
    for (const std::byte b : block) sum += static_cast<std::uint8_t>(b);
    putOctal(block, 148, 7, sum);
    tar.insert(tar.end(), block.begin(), block.end());
    tar.insert(tar.end(), member.bytes.begin(), member.bytes.end());
    tar.resize((tar.size() + kTarBlock - 1) / kTarBlock * kTarBlock);
  }
  tar.resize(tar.size() + 2 * kTarBlock);
  return tar;
}

std::uint64_t tarMemberOffset(const std::vector<CarveSample>& members, std::size_t index) {
  std::uint64_t offset = 0;
  for (std::size_t i = 0; i < index && i < members.size(); ++i) {
    offset += kTarBlock + (members[i].bytes.size() + kTarBlock - 1) / kTarBlock * kTarBlock;
  }
  return offset + kTarBlock;
}

std::vector<std::byte> carveFiller(std::uint64_t seed, std::size_t lengthBytes) {
  return fatSampleContent(seed * 7919 + 3, lengthBytes);
}

}  // namespace nua::imagekit
