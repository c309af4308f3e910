// The check list of one photo-and-media scan: the file checks of the selected formats in their fixed
// order, run on each examined sector until one holds or the sector's first byte rules the rest out.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "filecheck/file_check.h"

namespace nua {

// The check that found a file at the sector, with the size it measured (0: not registered, the
// signature tables get their turn).
struct FileCheckHit {
  FileCheck* check = nullptr;
  std::uint64_t size = 0;
};

// Lets a caller wrap each check as it is built (the tests record the calls this way).
using FileCheckWrapper = std::function<std::unique_ptr<FileCheck>(std::unique_ptr<FileCheck>)>;

class FileCheckList {
 public:
  // Every format word the list knows, in the list's order ("mpg", "mrw", ..., "jpg", then the movies).
  [[nodiscard]] static const std::vector<std::string>& formatWordsInOrder();

  // Builds the checks of the selected format words in the fixed order over one shared source, and
  // sets the state's "selected" flags of the TIFF family. Unknown words are ignored.
  [[nodiscard]] static FileCheckList build(const std::set<std::string>& selectedFormats, SectorSource& source,
                                           FileCheckScanState& state, const FileCheckWrapper& wrap = {});

  // One step of the loop over a sector: the checks are asked in order; the first whose test holds is
  // measured and ends the list. A check whose first byte is above the sector's first byte ends it too,
  // unless a movie format is selected and byte 4 looks like the start of an atom name ('f' to 'x').
  [[nodiscard]] FileCheckHit run(ByteSpan header, std::uint64_t sector);

  [[nodiscard]] const std::vector<std::unique_ptr<FileCheck>>& checks() const { return checks_; }
  [[nodiscard]] bool movieFamilySelected() const { return movieFamilySelected_; }

 private:
  std::vector<std::unique_ptr<FileCheck>> checks_;
  // Each check's firstByteOfHeader(), a constant of its format, kept beside it so run() makes one
  // virtual call per check instead of two.
  std::vector<std::uint8_t> firstBytes_;
  bool movieFamilySelected_ = false;
};

}  // namespace nua
