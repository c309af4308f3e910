#include "ondisk/fat_directory_entry.h"

namespace nua {

Parsed<FatDirectoryEntry> parseFatDirectoryEntry(ByteSpan b) {
  if (b.size() < kFatDirectoryEntrySize)
    return Parsed<FatDirectoryEntry>::failure(parseReason("FAT directory entry", "file size", 28, "past the end"));
  FatDirectoryEntry e;
  for (std::size_t i = 0; i < e.baseName.size(); ++i) e.baseName[i] = u8(b, i);
  for (std::size_t i = 0; i < e.extension.size(); ++i) e.extension[i] = u8(b, 8 + i);
  e.attributes = u8(b, 11);
  e.caseFlags = u8(b, 12);
  e.createTime = le16(b, 14);
  e.createDate = le16(b, 16);
  e.firstClusterHigh = le16(b, 20);
  e.writeTime = le16(b, 22);
  e.writeDate = le16(b, 24);
  e.firstClusterLow = le16(b, 26);
  e.fileSize = le32(b, 28);
  return Parsed<FatDirectoryEntry>::success(e);
}

FatEntryKind fatEntryKindOf(std::uint8_t attributes) {
  if (attributes == kFatAttrLongName) return FatEntryKind::kLongNameSlot;
  if ((attributes & kFatAttrSystem) != 0) return FatEntryKind::kSystem;
  if ((attributes & (kFatAttrVolumeLabel | 0xC0U)) != 0) return FatEntryKind::kNoEntry;
  if ((attributes & kFatAttrDirectory) != 0) return FatEntryKind::kFolder;
  return FatEntryKind::kFile;
}

namespace {

// Length of the valid UTF-8 sequence starting at `text[i]`, or 0.
std::size_t utf8SequenceLength(const std::string& text, std::size_t i) {
  const auto lead = static_cast<unsigned char>(text[i]);
  std::size_t length = 0;
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF)
    length = 2;
  else if (lead >= 0xE0 && lead <= 0xEF)
    length = 3;
  else if (lead >= 0xF0 && lead <= 0xF4)
    length = 4;
  else
    return 0;
  if (!fits(text.size(), i, length)) return 0;
  for (std::size_t k = 1; k < length; ++k)
    if ((static_cast<unsigned char>(text[i + k]) & 0xC0U) != 0x80U) return 0;
  return length;
}

// The piece as UTF-8 when it is valid; otherwise every byte above 0x7F becomes its Latin-1 character.
std::string pieceText(const std::string& raw) {
  bool valid = true;
  for (std::size_t i = 0; i < raw.size() && valid;) {
    const std::size_t length = utf8SequenceLength(raw, i);
    valid = length != 0;
    i += length;
  }
  if (valid) return raw;
  std::string out;
  for (char c : raw) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      out.push_back(c);
    } else {
      out.push_back(static_cast<char>(0xC0U | (byte / 64U)));
      out.push_back(static_cast<char>(0x80U | (byte % 64U)));
    }
  }
  return out;
}

template <std::size_t N>
std::string trimmedPiece(const std::array<std::uint8_t, N>& bytes, bool lowerCase) {
  std::size_t end = N;
  while (end > 0 && bytes[end - 1] == ' ') --end;
  std::string raw;
  for (std::size_t i = 0; i < end; ++i) {
    if (bytes[i] == 0) break;  // a NUL cuts the name, as the tree's names are cut
    char c = static_cast<char>(bytes[i]);
    if (lowerCase && c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    raw.push_back(c);
  }
  return pieceText(raw);
}

}  // namespace

std::string shortNameText(const FatDirectoryEntry& entry) {
  std::array<std::uint8_t, 8> base = entry.baseName;
  if (base[0] == kFatDeletedMark)
    base[0] = ' ';
  else if (base[0] == 0x05)
    base[0] = kFatDeletedMark;
  // The leading space of a deleted name stays: only the padding at the end is dropped.
  std::string name = trimmedPiece(base, (entry.caseFlags & 0x08U) != 0);
  if (base[0] == ' ' && name.empty()) name = " ";
  const std::string extension = trimmedPiece(entry.extension, (entry.caseFlags & 0x10U) != 0);
  if (!extension.empty()) name += "." + extension;
  return name;
}

std::uint8_t shortNameChecksum(const std::array<std::uint8_t, 8>& baseName,
                               const std::array<std::uint8_t, 3>& extension) {
  std::uint8_t sum = 0;
  const auto add = [&sum](std::uint8_t c) {
    // Rotate right by one, then add.
    sum = static_cast<std::uint8_t>(((sum & 1U) != 0 ? 0x80U : 0U) + sum / 2U + c);
  };
  for (std::uint8_t c : baseName) add(c);
  for (std::uint8_t c : extension) add(c);
  return sum;
}

}  // namespace nua
