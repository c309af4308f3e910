// Writes a kit image as a UDIF (.dmg) image: data fork of chunks, an XML property list with one
// "blkx" block table, and the "koly" trailer, so that the program's UDIF reader can be checked
// against dmg2img and against the raw image it came from.
#pragma once

#include <string>

namespace nua::imagekit {

enum class UdifEncoding {
  kRaw,
  kZlib,
  kBzip2,
  // Stores the bytes raw but marks the chunks as LZFSE, a compression the reader has no decoder for.
  kMarkedLzfse,
};

// Reads the raw image at `rawPath` and writes `dmgPath`. Chunks are 1 MiB of the image; an all-zero
// chunk is written as a zero-fill entry with no data. False with `error` on an I/O failure.
[[nodiscard]] bool writeUdifImage(const std::string& rawPath, const std::string& dmgPath, UdifEncoding encoding,
                                  std::string& error);

}  // namespace nua::imagekit
