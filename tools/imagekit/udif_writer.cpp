#include "imagekit/udif_writer.h"

#include <bzlib.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <vector>

#include "base/bytes.h"

namespace nua::imagekit {
namespace {

constexpr std::uint64_t kSectorBytes = 512;
constexpr std::uint64_t kChunkSectors = 2048;
constexpr std::uint32_t kZeroFill = 0x00000000, kRawType = 0x00000001, kZlibType = 0x80000005,
                        kBzip2Type = 0x80000006, kLzfseType = 0x80000007, kTerminator = 0xffffffff;

std::string base64(const std::vector<std::byte>& bytes) {
  static const char* alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = static_cast<std::uint32_t>(bytes[i]) << 16;
    if (i + 1 < bytes.size()) group |= static_cast<std::uint32_t>(bytes[i + 1]) << 8;
    if (i + 2 < bytes.size()) group |= static_cast<std::uint32_t>(bytes[i + 2]);
    out += alphabet[(group >> 18) & 63];
    out += alphabet[(group >> 12) & 63];
    out += i + 1 < bytes.size() ? alphabet[(group >> 6) & 63] : '=';
    out += i + 2 < bytes.size() ? alphabet[group & 63] : '=';
    if (out.size() % 69 == 68) out += "\n\t\t\t\t";
  }
  return out;
}

std::vector<std::byte> pack(std::span<const std::byte> plain, UdifEncoding encoding, std::uint32_t& type) {
  if (encoding == UdifEncoding::kZlib) {
    uLongf length = compressBound(static_cast<uLong>(plain.size()));
    std::vector<std::byte> out(length);
    compress2(reinterpret_cast<Bytef*>(out.data()), &length, reinterpret_cast<const Bytef*>(plain.data()),
              static_cast<uLong>(plain.size()), 6);
    out.resize(length);
    type = kZlibType;
    return out;
  }
  if (encoding == UdifEncoding::kBzip2) {
    unsigned int length = static_cast<unsigned int>(plain.size() + plain.size() / 100 + 600);
    std::vector<std::byte> out(length);
    std::vector<std::byte> input(plain.begin(), plain.end());
    BZ2_bzBuffToBuffCompress(reinterpret_cast<char*>(out.data()), &length, reinterpret_cast<char*>(input.data()),
                             static_cast<unsigned int>(input.size()), 9, 0, 0);
    out.resize(length);
    type = kBzip2Type;
    return out;
  }
  type = encoding == UdifEncoding::kMarkedLzfse ? kLzfseType : kRawType;
  return {plain.begin(), plain.end()};
}

}  // namespace

bool writeUdifImage(const std::string& rawPath, const std::string& dmgPath, UdifEncoding encoding, std::string& error) {
  std::ifstream in(rawPath, std::ios::binary);
  if (!in) {
    error = "cannot read " + rawPath;
    return false;
  }
  std::vector<char> rawChars((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::span<const std::byte> raw = std::as_bytes(std::span(rawChars));
  const std::uint64_t sectors = (raw.size() + kSectorBytes - 1) / kSectorBytes;

  std::vector<std::byte> dataFork;
  std::vector<std::byte> table(204);
  std::uint32_t chunkCount = 0;
  auto addChunk = [&](std::uint32_t type, std::uint64_t sector, std::uint64_t count, std::uint64_t offset,
                      std::uint64_t length) {
    std::vector<std::byte> entry(40);
    putBe32(entry, 0, type);
    putBe64(entry, 8, sector);
    putBe64(entry, 16, count);
    putBe64(entry, 24, offset);
    putBe64(entry, 32, length);
    table.insert(table.end(), entry.begin(), entry.end());
    ++chunkCount;
  };
  for (std::uint64_t sector = 0; sector < sectors; sector += kChunkSectors) {
    const std::uint64_t count = std::min(kChunkSectors, sectors - sector);
    std::vector<std::byte> plain(count * kSectorBytes, std::byte{0});
    const std::uint64_t start = sector * kSectorBytes;
    std::copy_n(raw.begin() + static_cast<std::ptrdiff_t>(start), std::min<std::uint64_t>(plain.size(), raw.size() - start),
                plain.begin());
    if (std::all_of(plain.begin(), plain.end(), [](std::byte b) { return b == std::byte{0}; })) {
      addChunk(kZeroFill, sector, count, dataFork.size(), 0);
      continue;
    }
    std::uint32_t type = 0;
    const std::vector<std::byte> packed = pack(plain, encoding, type);
    addChunk(type, sector, count, dataFork.size(), packed.size());
    dataFork.insert(dataFork.end(), packed.begin(), packed.end());
  }
  addChunk(kTerminator, sectors, 0, dataFork.size(), 0);
  putBe32(table, 0, 0x6d697368);  // "mish"
  putBe32(table, 4, 1);
  putBe64(table, 8, 0);
  putBe64(table, 16, sectors);
  putBe64(table, 24, 0);
  putBe32(table, 32, static_cast<std::uint32_t>(kChunkSectors));
  putBe32(table, 36, 0);
  putBe32(table, 200, chunkCount);

  const std::string name = "whole disk (Apple_HFS : 0)";
  const std::string list =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n<dict>\n\t<key>resource-fork</key>\n\t<dict>\n\t\t<key>blkx</key>\n\t\t<array>\n"
      "\t\t\t<dict>\n\t\t\t\t<key>Attributes</key>\n\t\t\t\t<string>0x0050</string>\n"
      "\t\t\t\t<key>CFName</key>\n\t\t\t\t<string>" + name + "</string>\n"
      "\t\t\t\t<key>Data</key>\n\t\t\t\t<data>\n\t\t\t\t" + base64(table) + "\n\t\t\t\t</data>\n"
      "\t\t\t\t<key>ID</key>\n\t\t\t\t<string>0</string>\n"
      "\t\t\t\t<key>Name</key>\n\t\t\t\t<string>" + name + "</string>\n"
      "\t\t\t</dict>\n\t\t</array>\n\t</dict>\n</dict>\n</plist>\n";

  std::vector<std::byte> trailer(512);
  putBe32(trailer, 0, 0x6b6f6c79);  // "koly"
  putBe32(trailer, 4, 4);
  putBe32(trailer, 8, 512);
  putBe32(trailer, 12, 1);
  putBe64(trailer, 24, 0);
  putBe64(trailer, 32, dataFork.size());
  putBe32(trailer, 56, 1);
  putBe32(trailer, 60, 1);
  putBe64(trailer, 216, dataFork.size());
  putBe64(trailer, 224, list.size());
  putBe32(trailer, 488, 1);
  putBe64(trailer, 492, sectors);

  std::ofstream out(dmgPath, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(dataFork.data()), static_cast<std::streamsize>(dataFork.size()));
  out.write(list.data(), static_cast<std::streamsize>(list.size()));
  out.write(reinterpret_cast<const char*>(trailer.data()), static_cast<std::streamsize>(trailer.size()));
  if (!out) {
    error = "cannot write " + dmgPath;
    return false;
  }
  return true;
}

}  // namespace nua::imagekit
