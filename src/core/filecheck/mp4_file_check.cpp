// Mp4 test and size by the shared box walk.
#include "filecheck/mp4_file_check.h"

#include "filecheck/movie_box_walk.h"

namespace nua {

bool Mp4FileCheck::isFile(ByteSpan header, std::uint64_t sector) {
  if (!headerText(header, 4, "ftyp")) return false;
  for (const char* brand : {"M4A", "M4B", "M4V", "3gp", "3g2", "qt"}) {
    if (headerText(header, 8, brand)) return false;
  }
  FileWindow window = openWindow(sector);
  return nextBoxIsKnown(window, header);
}

std::uint64_t Mp4FileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  return movieBoxWalkSize(window, MovieBoxForm::Mp4);
}

}  // namespace nua
