// A test source that fails every read touching one of the chosen sectors, as a device with bad
// sectors does; the buffer comes back zeroed, as from a real failed read.
#pragma once

#include <algorithm>
#include <cstdint>
#include <set>
#include <span>

#include "media/sector_source.h"

namespace nua {

class FailingSectorSource final : public SectorSource {
 public:
  FailingSectorSource(SectorSource& inner, std::set<std::uint64_t> bad) : inner_(inner), bad_(std::move(bad)) {}
  [[nodiscard]] std::uint32_t bytesPerSector() const override { return inner_.bytesPerSector(); }
  [[nodiscard]] std::uint64_t sectorCount() const override { return inner_.sectorCount(); }
  [[nodiscard]] bool readSectors(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) override {
    const auto it = bad_.lower_bound(sector);
    if (it != bad_.end() && *it < sector + count) {
      std::fill(buffer.begin(), buffer.end(), std::byte{0});
      return false;
    }
    return inner_.readSectors(sector, count, buffer);
  }

 private:
  SectorSource& inner_;
  std::set<std::uint64_t> bad_;
};

}  // namespace nua
