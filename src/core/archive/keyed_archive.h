// The project's keyed container: a small self-describing binary file of typed values under string
// keys, with a header, a content version and one root value. Layout in docs/keyed-archive.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "archive/keyed_value.h"
#include "base/bytes.h"

namespace nua {

// Header: magic (8), format version (2), flags (2), content version (4), body length (8).
inline constexpr std::size_t kKeyedArchiveHeaderSize = 24;
inline constexpr std::uint16_t kKeyedArchiveFormatVersion = 1;
// Nesting of arrays and objects that a reader accepts; deeper input is damage, not data.
inline constexpr std::size_t kKeyedArchiveMaxDepth = 64;

struct KeyedArchive {
  std::uint32_t contentVersion = 0;  // the writer's version of what the archive holds
  KeyedValue root;
};

struct [[nodiscard]] KeyedArchiveResult {
  std::optional<KeyedArchive> archive;
  std::string reason;  // "keyed archive: <field> at 0x<offset> <what>" when archive is empty
  [[nodiscard]] bool ok() const { return archive.has_value(); }
};

// Serialises the archive. Throws std::length_error only for a string, array or object too large
// for the format's 32-bit counts, which no caller of ours produces.
[[nodiscard]] std::vector<std::byte> writeKeyedArchive(const KeyedArchive& archive);

// Decodes an archive. Every count, length and depth is checked against the input first, so damaged
// or hostile input gives a reason naming the field and its offset; it never throws on bad bytes.
[[nodiscard]] KeyedArchiveResult readKeyedArchive(ByteSpan bytes);

}  // namespace nua
