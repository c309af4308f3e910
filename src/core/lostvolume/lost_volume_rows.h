// What the screens and the command line show of a found volume: the found-volume table's texts and
// the half-star rating of the lost-volume list.
#pragma once

#include <cstdint>
#include <string>

#include "base/dict.h"

namespace nua {

// "Volume Found @ Sector: %@" with the sector.
[[nodiscard]] std::string foundColumnText(std::uint64_t sector);

// The rating image of a "Volume Validity" figure: "0_5" below 11 up to "5_" from 91, in half stars.
[[nodiscard]] std::string validityRatingImage(double volumeValidity);
// The number of half stars that image shows, 1 to 10.
[[nodiscard]] int validityHalfStars(double volumeValidity);

// The text the found-volume table shows for a row: the first element of its "Validity Column".
[[nodiscard]] std::string validityColumnText(const Dict& row);

}  // namespace nua
