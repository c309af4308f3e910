// Office compound documents (DOC, XLS, PPT): the root directory entry must stand where the header says,
// and the names of the first directory entries tell the application.
#include "formats/format_checks.h"

#include "formats/detail/file_bytes.h"

namespace nua::formats {

namespace {

constexpr std::uint64_t kDirectoryEntryBytes = 128;

// The first four UTF-16LE characters of a directory entry name.
bool entryNameStartsWith(FileBytes& bytes, std::uint64_t at, const char (&name)[5]) {
  for (std::uint64_t i = 0; i < 4; ++i) {
    if (bytes.le16At(at + 2 * i) != static_cast<std::uint8_t>(name[i])) return false;
  }
  return true;
}

}  // namespace

bool checkCompoundDocumentFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  const std::uint64_t base = context.baseSector(sector);
  FileBytes header(source, base, 1);
  const std::uint32_t firstDirectorySector = header.le32At(48);
  const std::uint32_t fatSectorCount = header.le32At(44);
  // Compound-file sector n starts after the 512-byte header, that is at device sector n + 1.
  FileBytes directory(source, base + firstDirectorySector + 1, 1);
  if (!entryNameStartsWith(directory, 0, "Root")) return false;
  row.extension = "ppt";
  for (std::uint64_t entry = 0; entry < 4; ++entry) {
    if (entryNameStartsWith(directory, entry * kDirectoryEntryBytes, "Work")) {
      row.extension = "xls";
      break;
    }
    if (entryNameStartsWith(directory, entry * kDirectoryEntryBytes, "Word")) {
      row.extension = "doc";
      break;
    }
  }
  reportSize(row, (std::uint64_t{fatSectorCount} * 128 + 1) * header.bytesPerSector(), false,
             header.bytesPerSector());
  return true;
}

}  // namespace nua::formats
