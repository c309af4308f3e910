// The reviewed, human-readable master table of file types, one row per type, from which the six
// signature data files are generated at build time.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "signature/sig_archive.h"

namespace nua {

// The three catalogs, in the order of the table's columns.
enum class SigDataFile : std::uint8_t { kFR = 0, kPR = 1, kAL = 2 };
inline constexpr std::array<const char*, 3> kSigDataFileNames = {"Sig_FR", "Sig_PR", "Sig_AL"};

struct SigMasterRow {
  std::size_t line = 0;  // in the table, for messages
  std::string category;
  std::string software;
  std::string extension;
  std::uint16_t offset = 0;
  std::vector<std::uint8_t> headerBytes;  // 1 to 8
  std::uint32_t defaultSize = 0;          // MiB
  std::array<std::optional<std::uint32_t>, 3> typeOfFile;  // per catalog; empty: not carried
  [[nodiscard]] std::uint64_t header() const;
};

struct [[nodiscard]] SigMasterTable {
  std::vector<SigMasterRow> rows;
  std::string reason;  // "line N: ..." when the table could not be read
  [[nodiscard]] bool ok() const { return reason.empty(); }
};

// Reads the table's text. Lines: "category | software | extension | offset | header hex |
// default MiB | FR | PR | AL | definition"; a line starting with '#' is a comment. Any malformed line gives a reason.
[[nodiscard]] SigMasterTable parseSigMasterTable(std::string_view text);

// The catalog one data file holds: categories in order of first appearance, their rows in table
// order, every row pre-installed and unmarked. categoryID numbers the categories of the whole table.
[[nodiscard]] SigRootArray buildSigRootArray(const SigMasterTable& table, SigDataFile file);

}  // namespace nua
