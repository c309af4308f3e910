// M4v test and size by the shared box walk.
#include "filecheck/m4v_file_check.h"

#include "filecheck/movie_box_walk.h"

namespace nua {

bool M4vFileCheck::isFile(ByteSpan header, std::uint64_t sector) {
  if (!headerText(header, 4, "ftyp") || !headerText(header, 8, "M4V")) return false;
  FileWindow window = openWindow(sector);
  return nextBoxIsKnown(window, header);
}

std::uint64_t M4vFileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  return movieBoxWalkSize(window, MovieBoxForm::Itunes);
}

}  // namespace nua
