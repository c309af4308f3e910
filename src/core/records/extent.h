// One run of allocation blocks of a fork, as a plain value: what extent lookups return and sessions store.
#pragma once

#include <cstdint>

namespace nua {

struct Extent {
  std::uint32_t startBlock = 0;
  std::uint32_t blockCount = 0;

  friend bool operator==(const Extent&, const Extent&) = default;
};

}  // namespace nua
