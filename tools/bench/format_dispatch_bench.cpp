// Cost of the signature format checks against the read cost of a scan: the dispatch over 1 GiB of
// random sectors (the MP3 row is offered every sector, as the scan loop does), and each check on
// false header hits. Run build/release/tools/bench/format-dispatch-bench; not part of CTest.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "formats/format_dispatch.h"
#include "media/sector_source.h"

namespace {

constexpr std::uint32_t kSectorBytes = 512;
constexpr std::uint64_t kDeviceSectors = (1ull << 30) / kSectorBytes;  // 1 GiB
constexpr std::size_t kPoolBytes = 64u << 20;

// 1 GiB of random sectors from a 64 MiB pool, so the benchmark measures the checks and a memcpy, not
// the disk.
class RandomSectorSource final : public nua::SectorSource {
 public:
  RandomSectorSource() : pool_(kPoolBytes) {
    std::mt19937_64 random(42);
    for (auto& b : pool_) b = static_cast<std::byte>(random());
  }
  [[nodiscard]] std::uint32_t bytesPerSector() const override { return kSectorBytes; }
  [[nodiscard]] std::uint64_t sectorCount() const override { return kDeviceSectors; }
  [[nodiscard]] bool readSectors(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) override {
    const std::size_t length = std::size_t{count} * kSectorBytes;
    if (length > buffer.size()) return false;
    for (std::uint32_t i = 0; i < count; ++i) {
      std::byte* out = buffer.data() + std::size_t{i} * kSectorBytes;
      if (sector + i >= kDeviceSectors) {
        std::memset(out, 0, kSectorBytes);
        continue;
      }
      const std::size_t at = static_cast<std::size_t>(((sector + i) * kSectorBytes) % kPoolBytes);
      std::memcpy(out, pool_.data() + at, kSectorBytes);
    }
    return true;
  }
  [[nodiscard]] std::uint16_t firstTwoBytes(std::uint64_t sector) const {
    const std::size_t at = static_cast<std::size_t>((sector * kSectorBytes) % kPoolBytes);
    return static_cast<std::uint16_t>(std::to_integer<unsigned>(pool_[at]) * 256u + std::to_integer<unsigned>(pool_[at + 1]));
  }

 private:
  std::vector<std::byte> pool_;
};

RandomSectorSource& source() {
  static RandomSectorSource s;
  return s;
}

nua::FormatContext context() {
  nua::FormatContext c;
  c.bytesPerSector = kSectorBytes;
  c.deviceEndSector = kDeviceSectors;
  return c;
}

// The MP3 row over every sector of 1 GiB: bytes per second here set against a 2 GB/s read. Argument 0
// runs a row without a check, the loop's own cost.
void BM_Mp3RowOverEverySector(benchmark::State& state) {
  RandomSectorSource& device = source();  // the pool is made before the timing starts
  auto c = context();
  nua::FormatRow row;
  row.typeOfFile = static_cast<std::uint32_t>(state.range(0));
  row.extension = "mp3";
  std::uint64_t sectors = 0;
  for (auto _ : state) {
    for (std::uint64_t sector = 0; sector < kDeviceSectors; ++sector) {
      bool skippedOnce = false;
      benchmark::DoNotOptimize(
          nua::formats::runCheckForSig(device, c, row, device.firstTwoBytes(sector), skippedOnce, sector));
    }
    sectors += kDeviceSectors;
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(sectors * kSectorBytes));
  state.SetItemsProcessed(static_cast<std::int64_t>(sectors));
}
BENCHMARK(BM_Mp3RowOverEverySector)->Arg(16)->Arg(0)->Unit(benchmark::kMillisecond)->Iterations(1);

// One check on false header hits spread over the device: checks per second for each type.
void BM_CheckOnFalseHits(benchmark::State& state) {
  RandomSectorSource& device = source();  // the pool is made before the timing starts
  auto c = context();
  nua::FormatRow row;
  row.typeOfFile = static_cast<std::uint32_t>(state.range(0));
  row.defaultSize = 20;
  std::uint64_t checks = 0;
  std::uint64_t sector = 12345;
  for (auto _ : state) {
    bool skippedOnce = false;
    row.foundSize = row.skipSize = 0;
    row.skipFileSize = false;
    benchmark::DoNotOptimize(nua::formats::runCheckForSig(device, c, row, 0xFFFB, skippedOnce, sector));
    sector = (sector + 7919) % (kDeviceSectors - 4096);
    ++checks;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(checks));
}
BENCHMARK(BM_CheckOnFalseHits)->DenseRange(2, 47)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
