// The fixed order of the check list and the step that runs it. The order is ascending by first byte,
// which is what lets a step stop early; the movie formats, whose first byte is a length, come last.
#include "filecheck/file_check_list.h"

#include <array>

#include "filecheck/aif_file_check.h"
#include "filecheck/amr_file_check.h"
#include "filecheck/arw_file_check.h"
#include "filecheck/avi_file_check.h"
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
#include "filecheck/m4a_file_check.h"
#include "filecheck/m4b_file_check.h"
#include "filecheck/m4v_file_check.h"
#include "filecheck/mid_file_check.h"
#include "filecheck/mov_file_check.h"
#include "filecheck/mp3_file_check.h"
#include "filecheck/mp4_file_check.h"
#include "filecheck/mpg_file_check.h"
#include "filecheck/mrw_file_check.h"
#include "filecheck/nef_file_check.h"
#include "filecheck/orf_file_check.h"
#include "filecheck/pef_file_check.h"
#include "filecheck/png_file_check.h"
#include "filecheck/psd_file_check.h"
#include "filecheck/ra_file_check.h"
#include "filecheck/raf_file_check.h"
#include "filecheck/raw_panasonic_file_check.h"
#include "filecheck/rm_file_check.h"
#include "filecheck/sr2_file_check.h"
#include "filecheck/three_g_two_file_check.h"
#include "filecheck/three_gp_file_check.h"
#include "filecheck/threefr_file_check.h"
#include "filecheck/tiff_file_check.h"
#include "filecheck/wav_file_check.h"
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
    {"mpg", make<MpgFileCheck>, nullptr, false},
    {"mrw", make<MrwFileCheck>, nullptr, false},
    {"amr", make<AmrFileCheck>, nullptr, false},
    {"ra", make<RaFileCheck>, nullptr, false},
    {"rm", make<RmFileCheck>, nullptr, false},
    {"psd", make<PsdFileCheck>, nullptr, false},
    {"bmp", make<BmpFileCheck>, nullptr, false},
    {"raf", make<RafFileCheck>, nullptr, false},
    {"x3f", make<X3fFileCheck>, nullptr, false},
    {"aif", make<AifFileCheck>, nullptr, false},
    {"gif", make<GifFileCheck>, nullptr, false},
    {"mp3", make<Mp3FileCheck>, nullptr, false},
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
    {"mid", make<MidFileCheck>, nullptr, false},
    {"avi", make<AviFileCheck>, nullptr, false},
    {"wav", make<WavFileCheck>, nullptr, false},
    {"png", make<PngFileCheck>, nullptr, false},
    {"jpg", make<JpgFileCheck>, nullptr, false},
    {"mov", make<MovFileCheck>, nullptr, true},
    {"mp4", make<Mp4FileCheck>, nullptr, true},
    {"m4a", make<M4aFileCheck>, nullptr, true},
    {"m4b", make<M4bFileCheck>, nullptr, true},
    {"m4v", make<M4vFileCheck>, nullptr, true},
    {"threeGp", make<ThreeGpFileCheck>, nullptr, true},
    {"threeGTwo", make<ThreeGTwoFileCheck>, nullptr, true},
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
    list.firstBytes_.push_back(check->firstByteOfHeader());
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
  for (std::size_t i = 0; i < checks_.size(); ++i) {
    FileCheck& check = *checks_[i];
    if (check.isFile(header, sector)) return FileCheckHit{&check, check.fileSizeCalculation(header, sector)};
    if (firstByte < firstBytes_[i] && !mayBeMovie) break;
  }
  return {};
}

}  // namespace nua
