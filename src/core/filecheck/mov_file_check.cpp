// Mov test and size by the shared box walk.
#include "filecheck/mov_file_check.h"

#include "filecheck/movie_box_walk.h"

namespace nua {

bool MovFileCheck::isFile(ByteSpan header, std::uint64_t sector) {
  const bool quickTimeBrand = headerText(header, 4, "ftyp") && headerText(header, 8, "qt");
  bool quickTimeAtom = false;
  for (const char* atom : {"mdat", "moov", "pnot", "skip", "uuid", "wide"}) quickTimeAtom = quickTimeAtom || headerText(header, 4, atom);
  if (!quickTimeBrand && !quickTimeAtom) return false;
  FileWindow window = openWindow(sector);
  return nextBoxIsKnown(window, header);
}

std::uint64_t MovFileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  return movieBoxWalkSize(window, MovieBoxForm::QuickTime);
}

}  // namespace nua
