// Files of many formats for the signature search scenarios: JPEG and PNG made in code, the rest by
// the Debian tools (ImageMagick, sox, ffmpeg, zip) with their time stamps turned off, so the same seed
// always gives the same bytes. Decoys are a format's header followed by garbage.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace nua::imagekit {

struct CarveSample {
  std::string format;  // the usual extension, lower case: "jpg", "aiff", "mp4"...
  std::string name;    // a file name for it: "photo 1.jpg"
  std::vector<std::byte> bytes;
};

// One sample of every format the installed tools can make, each distinct per `seed`. Formats whose
// tool is missing are left out and named in `missing`; false with `error` only when a tool that is
// there fails.
[[nodiscard]] bool makeCarveSamples(std::uint64_t seed, std::vector<CarveSample>& samples,
                                    std::vector<std::string>& missing, std::string& error);

// A JPEG of about `approxBytes` bytes (noise makes it larger), distinct per seed.
[[nodiscard]] std::vector<std::byte> carveJpeg(std::uint64_t seed, std::uint32_t approxBytes);

// Headers of JPEG, PNG, GIF, BMP, WAV and AVI, each followed by seeded garbage up to `lengthBytes`.
[[nodiscard]] std::vector<CarveSample> makeCarveDecoys(std::uint64_t seed, std::size_t lengthBytes);

// An uncompressed tar (ustar, 512-byte blocks) holding the files, so each member starts on a sector
// boundary of the archive: files embedded inside another file.
[[nodiscard]] std::vector<std::byte> makeTarArchive(const std::vector<CarveSample>& members);
// Offset of the member `index`'s content inside makeTarArchive's output.
[[nodiscard]] std::uint64_t tarMemberOffset(const std::vector<CarveSample>& members, std::size_t index);

// Seeded text-like filler (lower-case words) in which no catalogued header can start.
[[nodiscard]] std::vector<std::byte> carveFiller(std::uint64_t seed, std::size_t lengthBytes);

}  // namespace nua::imagekit
