// Outlook 2011 data records: the record number places the find under the identity's "Data Records"
// folders, bucketed by thousands and millions as Outlook itself stores them.
#include "formats/format_checks.h"

#include <array>
#include <cstdio>

#include "formats/detail/file_bytes.h"

namespace nua::formats {

namespace {

constexpr std::uint32_t kFirstOutlookType = 32;
constexpr std::uint64_t kRecordHeadBytes = 20;

struct OutlookRecordKind {
  const char* nameFormat;
  const char* folder;
};

constexpr std::array<OutlookRecordKind, 15> kOutlookRecordKinds{{
    {"x18_%d", "Categories"},      {"x01_%d", "Contacts"},        {"x35_%d", "Database Headers"},
    {"x24_%d", "Fold"},            {"x05_%d", "Folders"},         {"x12_%d", "Mail Accounts"},
    {"x27_%d", "Message Sources"}, {"x00_%d", "Messages"},        {"x20_%d", "Preferences"},
    {"x19_%d", "Recent Addresses"}, {"x07_%d", "Rules"},          {"x17_%d", "Saved Searches"},
    {"x06_%d", "Schedules"},       {"x33_%d", "Signatures"},      {"x21_%d", "UIDs"},
}};

// The word at offset 8, byte-swapped as a 32-bit value and cut to 16 bits: always 0, so only a record
// with 0 at offset 4 passes the comparison.
std::uint32_t swappedWordCutTo16Bits(ByteSpan word) {
  std::array<std::byte, 4> widened{word[0], word[1], std::byte{0}, std::byte{0}};
  return be32(widened, 0) % 65536;
}

}  // namespace

bool checkOutlookRecordFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  if (row.typeOfFile < kFirstOutlookType || row.typeOfFile >= kFirstOutlookType + kOutlookRecordKinds.size()) {
    return false;
  }
  const OutlookRecordKind& kind = kOutlookRecordKinds[row.typeOfFile - kFirstOutlookType];
  FileBytes file(source, context.baseSector(sector), 1);
  const std::uint32_t lengthField = file.be32At(4);
  if (lengthField != swappedWordCutTo16Bits(file.at(8, 2))) return false;
  const std::uint32_t id = file.be32At(16);

  std::uint64_t millions = 0;
  std::uint64_t thousands = id / 1000;
  if (id >= 1000000) {
    std::uint64_t x = id / 1000;
    while (x > 999999) x /= 1000;
    millions = x / 1000;
    thousands = x % 1000;
  }
  char name[32];
  std::snprintf(name, sizeof name, kind.nameFormat, static_cast<int>(id));
  char path[200];
  std::snprintf(path, sizeof path,
                "Office 2011 Identities/Main Identity/Data Records/%s/%lluT/%lluB/%lluM/%lluK", kind.folder, 0ULL,
                0ULL, static_cast<unsigned long long>(millions), static_cast<unsigned long long>(thousands));
  context.foundName = name;
  context.foundParentPath = path;
  reportSize(row, std::uint64_t{lengthField} + kRecordHeadBytes, false, file.bytesPerSector());
  return true;
}

}  // namespace nua::formats
