// ThreeGTwo test and size by the shared box walk.
#include "filecheck/three_g_two_file_check.h"

#include "filecheck/movie_box_walk.h"

namespace nua {

bool ThreeGTwoFileCheck::isFile(ByteSpan header, std::uint64_t sector) {
  (void)sector;
  return headerText(header, 4, "ftyp") && headerText(header, 8, "3g2");
}

std::uint64_t ThreeGTwoFileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  return movieBoxWalkSize(window, MovieBoxForm::ThreeGpp);
}

}  // namespace nua
