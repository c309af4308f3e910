#include "lostvolume/lost_volume_rows.h"

#include <array>

#include "base/text.h"

namespace nua {

std::string foundColumnText(std::uint64_t sector) {
  return formatText("Volume Found @ Sector: %@", {std::to_string(sector)});
}

int validityHalfStars(double volumeValidity) {
  // Each step of ten percent is one half star; from 91 on the rating is full.
  constexpr std::array<double, 9> kBelow = {11, 21, 31, 41, 51, 61, 71, 81, 91};
  for (std::size_t i = 0; i < kBelow.size(); ++i)
    if (volumeValidity < kBelow[i]) return static_cast<int>(i) + 1;
  return 10;
}

std::string validityRatingImage(double volumeValidity) {
  static const std::array<const char*, 10> kImages = {"0_5", "1_", "1_5", "2_", "2_5", "3_", "3_5", "4_", "4_5", "5_"};
  return kImages[static_cast<std::size_t>(validityHalfStars(volumeValidity) - 1)];
}

std::string validityColumnText(const Dict& row) {
  const DictValue* column = row.find("Validity Column");
  const DictArray* validity = column != nullptr ? column->array() : nullptr;
  if (validity == nullptr || validity->empty()) return {};
  const DictValue& first = validity->front();
  return first.isString() ? first.toString() : std::to_string(first.toInt64());
}

}  // namespace nua
