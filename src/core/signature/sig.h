// One file signature row of the catalog: where its header sits, what it looks like, how large a find
// may be, and the scratch fields a format check reports through.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace nua {

struct Sig {
  bool preInstalled = false;   // shipped in the data file; such a row can't be removed
  std::uint8_t categoryID = 0;
  std::string category;
  std::uint32_t typeOfFile = 0;  // 1: served by a file check class; other values pick a format check
  std::string software;          // the file type's display name
  std::string extension;         // without dot; chooses the format check
  std::uint16_t offset = 0;      // byte offset of the header within the sector
  std::uint8_t headerLength = 0;  // bytes, 0 to 8
  std::uint64_t header = 0;       // the header bytes as one big-endian number
  std::uint32_t defaultSize = 0;  // catalog's maximum size in MiB; 0 means none
  std::uint64_t userSize = 0;     // the user's maximum size in MiB; wins over defaultSize when not 0
  std::uint64_t foundSize = 0;    // scratch: bytes the last check derived
  std::uint64_t skipSize = 0;     // scratch: sectors to jump after a confirmed find
  bool skipFileSize = false;      // scratch: the check asks for the jump
  std::vector<Sig> extraExts;     // other rows with the same header, offset and length
  std::vector<std::string> arrayExtNameVariations;  // further spellings of the extension

  // Appends a copy of the other row's stored fields (its own extraExts are not carried along).
  void addToExtraExts(const Sig& other);

  // A copy of the stored fields, without extraExts and arrayExtNameVariations.
  [[nodiscard]] Sig mutableCopy() const;
};

}  // namespace nua
