// Sequential scan rate of the carving engine's read path: 317-sector reads through the plain device
// source and through the read-ahead source, and the whole-disk search with the JPEG and PNG rows over
// both. The image is a 256 MiB file of random bytes, read once first so it sits in the page cache.
// Run build/release/tools/bench/signature-scan-bench; not part of CTest.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "media/read_ahead_source.h"
#include "media/sector_source.h"
#include "signature/signature_scan_engine.h"

namespace {

constexpr std::uint64_t kImageBytes = 256ULL << 20;

const std::filesystem::path& imagePath() {
  static const std::filesystem::path path = [] {
    const auto p = std::filesystem::temp_directory_path() / ("nua-scan-bench-" + std::to_string(::getpid()) + ".img");
    std::ofstream out(p, std::ios::binary);
    std::mt19937_64 random(5);
    std::vector<std::uint64_t> block(1 << 17);
    for (std::uint64_t done = 0; done < kImageBytes; done += block.size() * 8) {
      for (auto& word : block) word = random();
      out.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(block.size() * 8));
    }
    return p;
  }();
  return path;
}

std::shared_ptr<nua::DeviceFile> openImage() {
  int error = 0;
  return nua::DeviceFile::open(imagePath().string(), error);
}

void sequentialReads(benchmark::State& state, nua::SectorSource& source) {
  std::vector<std::byte> buffer(317 * 512);
  for (auto _ : state) {
    for (std::uint64_t sector = 0; sector < source.sectorCount(); sector += 315) {
      benchmark::DoNotOptimize(source.readSectors(sector, 317, buffer));
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kImageBytes));
}

void BM_PlainSequentialReads(benchmark::State& state) {
  const auto file = openImage();
  nua::DeviceSectorSource plain(file, 512);
  sequentialReads(state, plain);
}
BENCHMARK(BM_PlainSequentialReads)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ReadAheadSequentialReads(benchmark::State& state) {
  const auto file = openImage();
  nua::DeviceSectorSource plain(file, 512);
  nua::ReadAheadSource ahead(plain, nua::ReadAheadOptions{static_cast<std::uint32_t>(state.range(0)) << 20U, 32},
                             file.get());
  sequentialReads(state, ahead);
}
BENCHMARK(BM_ReadAheadSequentialReads)->Arg(8)->Arg(32)->Arg(64)->Unit(benchmark::kMillisecond)->UseRealTime();

class CountingSink final : public nua::CarvedFindSink {
 public:
  void addSignatureFind(const nua::CarvedPosition&, const nua::Sig&, nua::FormatContext&) override { ++finds; }
  void addFileCheckFind(const nua::CarvedPosition&, const nua::FileCheck&, std::uint64_t) override { ++finds; }
  void addRawJpgFind(const nua::CarvedPosition&, std::uint32_t, std::uint64_t) override { ++finds; }
  std::uint64_t finds = 0;
};

void wholeDiskSearch(benchmark::State& state, bool readAhead) {
  const auto file = openImage();
  nua::DeviceSectorSource plain(file, 512);
  nua::ReadAheadSource ahead(plain, nua::ReadAheadOptions{}, file.get());
  nua::Sig jpg;
  jpg.extension = "jpg";
  jpg.header = 0xFFD8FF;
  jpg.headerLength = 3;
  jpg.typeOfFile = 3;
  nua::Sig png = jpg;
  png.extension = "png";
  png.header = 0x89504E470D0A1A0AULL;
  png.headerLength = 8;
  png.typeOfFile = 6;
  nua::SignatureTables tables;
  tables.populate({&jpg, &png});
  for (auto _ : state) {
    nua::FormatContext context;
    CountingSink sink;
    nua::SignatureScanSetup setup;
    setup.geometry.sizeInSectors = plain.sectorCount();
    setup.geometry.totalBlocks = plain.sectorCount();
    setup.source = readAhead ? static_cast<nua::SectorSource*>(&ahead) : &plain;
    setup.tables = &tables;
    setup.context = &context;
    setup.finds = &sink;
    benchmark::DoNotOptimize(nua::runSignatureScan(setup, 0));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kImageBytes));
}

void BM_WholeDiskSearchPlain(benchmark::State& state) { wholeDiskSearch(state, false); }
void BM_WholeDiskSearchReadAhead(benchmark::State& state) { wholeDiskSearch(state, true); }
BENCHMARK(BM_WholeDiskSearchPlain)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_WholeDiskSearchReadAhead)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::filesystem::remove(imagePath());
  return 0;
}
