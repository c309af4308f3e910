// The fixed order of the check list and the step that runs it. The order is ascending by first byte,
// which is what lets a step stop early; the movie formats, whose first byte is a length, come last.
#include "filecheck/file_check_list.h"

#include <array>

#include "filecheck/arw_file_check.h"
#include "filecheck/bmp_file_check.h"
#include "filecheck/cr2_file_check.h"
#include "filecheck/crw_file_check.h"
#include "filecheck/dcr_file_check.h"
#include "filecheck/dng_file_check.h"
#include "filecheck/gif_file_check.h"
#include "filecheck/jpg_file_check.h"
#include "filecheck/k25_file_check.h"
#include "filecheck/kdc_file_check.h"
#include "filecheck/leica_file_check.h"
#include "filecheck/mrw_file_check.h"
#include "filecheck/nef_file_check.h"
#include "filecheck/orf_file_check.h"
#include "filecheck/pef_file_check.h"
#include "filecheck/png_file_check.h"
#include "filecheck/psd_file_check.h"
#include "filecheck/raf_file_check.h"
#include "filecheck/raw_panasonic_file_check.h"
#include "filecheck/sr2_file_check.h"
#include "filecheck/threefr_file_check.h"
#include "filecheck/tiff_file_check.h"
#include "filecheck/x3f_file_check.h"

namespace nua {

namespace {

using MakeCheck = std::unique_ptr<FileCheck> (*)(SectorSource&, FileCheckScanState&);

template <typename Check>
std::unique_ptr<FileCheck> make(SectorSource& source, FileCheckScanState& state) {
  return std::make_unique<Check>(source, state);
}

struct ListEntry {
  const char* formatWord;
  MakeCheck makeCheck;
  bool FileCheckScanState::*selectedFlag;  // null where the format has no "selected" flag
  bool movie;
};

const std::array<ListEntry, 39> kListOrder = {{
    {"mpg", nullptr, nullptr, false},
    {"mrw", make<MrwFileCheck>, nullptr, false},
    {"amr", nullptr, nullptr, false},
    {"ra", nullptr, nullptr, false},
    {"rm", nullptr, nullptr, false},
    {"psd", make<PsdFileCheck>, nullptr, false},
    {"bmp", make<BmpFileCheck>, nullptr, false},
    {"raf", make<RafFileCheck>, nullptr, false},
    {"x3f", make<X3fFileCheck>, nullptr, false},
    {"aif", nullptr, nullptr, false},
    {"gif", make<GifFileCheck>, nullptr, false},
    {"mp3", nullptr, nullptr, false},
    {"arw", make<ArwFileCheck>, &FileCheckScanState::arwSelected, false},
    {"sr2", make<Sr2FileCheck>, &FileCheckScanState::sonySr2Selected, false},
    {"kdc", make<KdcFileCheck>, &FileCheckScanState::kdcSelected, false},
    {"k25", make<K25FileCheck>, &FileCheckScanState::k25Selected, false},
    {"dcr", make<DcrFileCheck>, &FileCheckScanState::kodakDcrSelected, false},
    {"pef", make<PefFileCheck>, &FileCheckScanState::pentaxSelected, false},
    {"dng", make<DngFileCheck>, &FileCheckScanState::dngSelected, false},
    {"cr2", make<Cr2FileCheck>, &FileCheckScanState::canonSelected, false},
    {"nef", make<NefFileCheck>, &FileCheckScanState::nikonSelected, false},
    {"tiff", make<TiffFileCheck>, &FileCheckScanState::tiffSelected, false},
    {"orf", make<OrfFileCheck>, &FileCheckScanState::olympusSelected, false},
    {"rawPanasonic", make<RawPanasonicFileCheck>, &FileCheckScanState::rawPanasonicSelected, false},
    {"leica", make<LeicaFileCheck>, &FileCheckScanState::leicaSelected, false},
    {"threeFr", make<ThreefrFileCheck>, &FileCheckScanState::threefrFileSelected, false},
    {"crw", make<CrwFileCheck>, nullptr, false},
    {"mid", nullptr, nullptr, false},
    {"avi", nullptr, nullptr, false},
    {"wav", nullptr, nullptr, false},
    {"png", make<PngFileCheck>, nullptr, false},
    {"jpg", make<JpgFileCheck>, nullptr, false},
    {"mov", nullptr, nullptr, true},
    {"mp4", nullptr, nullptr, true},
    {"m4a", nullptr, nullptr, true},
    {"m4b", nullptr, nullptr, true},
    {"m4v", nullptr, nullptr, true},
    {"threeGp", nullptr, nullptr, true},
    {"threeGTwo", nullptr, nullptr, true},
}};

}  // namespace

const std::vector<std::string>& FileCheckList::formatWordsInOrder() {
  static const std::vector<std::string> words = [] {
    std::vector<std::string> all;
    for (const ListEntry& entry : kListOrder) all.emplace_back(entry.formatWord);
    return all;
  }();
  return words;
}

FileCheckList FileCheckList::build(const std::set<std::string>& selectedFormats, SectorSource& source,
                                   FileCheckScanState& state, const FileCheckWrapper& wrap) {
  FileCheckList list;
  for (const ListEntry& entry : kListOrder) {
    if (selectedFormats.count(entry.formatWord) == 0 || entry.makeCheck == nullptr) continue;
    std::unique_ptr<FileCheck> check = entry.makeCheck(source, state);
    if (wrap) check = wrap(std::move(check));
    list.checks_.push_back(std::move(check));
    if (entry.selectedFlag != nullptr) state.*entry.selectedFlag = true;
    if (entry.movie) list.movieFamilySelected_ = true;
  }
  return list;
}

FileCheckHit FileCheckList::run(ByteSpan header, std::uint64_t sector) {
  const std::uint8_t firstByte = headerByte(header, 0);
  const std::uint8_t atomLetter = headerByte(header, 4);
  const bool mayBeMovie = movieFamilySelected_ && atomLetter >= 'f' && atomLetter <= 'x';
  for (const auto& check : checks_) {
    if (check->isFile(header, sector)) return FileCheckHit{check.get(), check->fileSizeCalculation(header, sector)};
    if (firstByte < check->firstByteOfHeader() && !mayBeMovie) break;
  }
  return {};
}

}  // namespace nua
