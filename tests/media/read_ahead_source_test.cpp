// The read-ahead source against the plain one: every request sequence, sequential or random, with
// bad sectors and at the source's end, gives the same bytes and the same results.
#include "media/read_ahead_source.h"

#include "media/failing_sector_source.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <set>

namespace nua {
namespace {

// Counts the reads that reach the source behind the read-ahead.
class CountingSource final : public SectorSource {
 public:
  explicit CountingSource(SectorSource& inner) : inner_(inner) {}
  [[nodiscard]] std::uint32_t bytesPerSector() const override { return inner_.bytesPerSector(); }
  [[nodiscard]] std::uint64_t sectorCount() const override { return inner_.sectorCount(); }
  [[nodiscard]] bool readSectors(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) override {
    ++reads;
    return inner_.readSectors(sector, count, buffer);
  }
  std::atomic<int> reads{0};

 private:
  SectorSource& inner_;
};

struct Request {
  std::uint64_t sector;
  std::uint32_t count;
  std::size_t bufferBytes;
};

class ReadAheadAgreement : public testing::Test {
 protected:
  // 1000.5 KiB: the last piece is short and the last sector partial.
  MemorySectorSource memory{randomBytes(1000 * 1024 + 512 + 100), 512};
  FailingSectorSource plain{memory, {7, 300, 301, 1500, memory.sectorCount() - 1}};

  static std::vector<std::byte> randomBytes(std::size_t size) {
    std::mt19937 random(3);
    std::vector<std::byte> bytes(size);
    for (std::byte& b : bytes) b = static_cast<std::byte>(random());
    return bytes;
  }

  void expectSameAnswers(const std::vector<Request>& requests, ReadAheadOptions options) {
    ReadAheadSource ahead(plain, options);
    ASSERT_EQ(ahead.sectorCount(), plain.sectorCount());
    for (const Request& r : requests) {
      std::vector<std::byte> expected(r.bufferBytes, std::byte{0xAB});
      std::vector<std::byte> actual(r.bufferBytes, std::byte{0xAB});
      const bool plainResult = plain.readSectors(r.sector, r.count, expected);
      const bool aheadResult = ahead.readSectors(r.sector, r.count, actual);
      ASSERT_EQ(aheadResult, plainResult) << r.sector << "+" << r.count;
      ASSERT_EQ(actual, expected) << r.sector << "+" << r.count;
    }
  }
};

TEST_F(ReadAheadAgreement, SequentialScansGiveThePlainBytesAndFailures) {
  const std::uint64_t end = memory.sectorCount() + 400;  // runs past the end
  for (const std::uint32_t step : {315U, 40U, 320U}) {
    std::vector<Request> requests;
    for (std::uint64_t sector = 0; sector < end; sector += step) requests.push_back({sector, step + 2, (step + 2) * 512});
    expectSameAnswers(requests, ReadAheadOptions{64 * 1024, 32});
    expectSameAnswers(requests, ReadAheadOptions{});
  }
}

TEST_F(ReadAheadAgreement, ASequentialScanReachesThePlainSourceInPiecesOnly) {
  MemorySectorSource clean(randomBytes(8 << 20), 512);
  CountingSource counting(clean);
  {
    ReadAheadSource ahead(counting, ReadAheadOptions{2 << 20, 32});
    std::vector<std::byte> buffer(317 * 512);
    int requests = 0;
    for (std::uint64_t sector = 0; sector < clean.sectorCount(); sector += 315, ++requests) {
      ASSERT_TRUE(ahead.readSectors(sector, 317, buffer));
    }
    // 4 pieces, plus the few requests that straddle two of them.
    EXPECT_LT(counting.reads.load(), requests / 3) << requests;
  }
}

TEST_F(ReadAheadAgreement, RandomAndInterleavedRequestsGiveThePlainAnswers) {
  std::mt19937_64 random(11);
  std::vector<Request> requests;
  std::uint64_t scan = 0;
  for (int round = 0; round < 3000; ++round) {
    switch (random() % 4) {
      case 0:  // the scan's next buffer
        requests.push_back({scan, 317, 317 * 512});
        scan += 315;
        break;
      case 1:  // a check reading a few sectors somewhere ahead of the scan
        requests.push_back({scan + random() % 600, static_cast<std::uint32_t>(1 + random() % 8), 8 * 512});
        break;
      case 2:  // anywhere, sometimes past the end
        requests.push_back({random() % (memory.sectorCount() + 50), static_cast<std::uint32_t>(1 + random() % 100),
                            100 * 512});
        break;
      default:  // a buffer too small, or no sectors at all
        requests.push_back({random() % memory.sectorCount(), static_cast<std::uint32_t>(random() % 3), 512});
        break;
    }
    if (scan > memory.sectorCount()) scan = 0;
  }
  expectSameAnswers(requests, ReadAheadOptions{32 * 1024, 32});
  expectSameAnswers(requests, ReadAheadOptions{512 * 1024, 16});
}

}  // namespace
}  // namespace nua
