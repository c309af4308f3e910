// A sector source in front of another that reads ahead in large aligned pieces on a thread of its own,
// so a sequential search checks one piece while the next is being read. It answers every request
// with exactly the bytes and the result the plain source would give.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "media/device_file.h"
#include "media/sector_source.h"

namespace nua {

struct ReadAheadOptions {
  std::uint32_t pieceBytes = 8U << 20U;  // one aligned read; rounded down to whole sectors
  // A request of at least this many sectors that misses the pieces in memory moves the read-ahead
  // there; smaller ones (a check reading a file's body) go to the plain source and leave it in place.
  std::uint32_t followRequestSectors = 32;
};

class ReadAheadSource final : public SectorSource {
 public:
  // `device`, when given, is advised of sequential reads. The plain source must outlive this one.
  explicit ReadAheadSource(SectorSource& plain, ReadAheadOptions options = {}, const DeviceFile* device = nullptr);
  ~ReadAheadSource() override;
  ReadAheadSource(const ReadAheadSource&) = delete;
  ReadAheadSource& operator=(const ReadAheadSource&) = delete;

  [[nodiscard]] std::uint32_t bytesPerSector() const override { return bytesPerSector_; }
  [[nodiscard]] std::uint64_t sectorCount() const override { return sectorCount_; }
  // Served from a piece in memory when the request lies inside one that was read whole; otherwise,
  // and always when a piece could not be read, by the plain source itself.
  [[nodiscard]] bool readSectors(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) override;

 private:
  static constexpr std::uint64_t kNoPiece = UINT64_MAX;
  struct Piece {
    std::uint64_t index = kNoPiece;
    bool readable = false;
    std::vector<std::byte> bytes;
  };

  bool readPlain(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer);
  void readPiece(std::uint64_t index, Piece& into);
  void copyOut(const Piece& piece, std::uint64_t sector, std::size_t length, std::span<std::byte> buffer) const;
  // Asks the thread for the piece after `index`, when there is one.
  void requestAfter(std::uint64_t index);
  // Waits for the requested piece and makes it the current one.
  void takePrefetched();
  void prefetchLoop();

  SectorSource& plain_;
  std::uint32_t bytesPerSector_;
  std::uint64_t sectorCount_;
  std::uint64_t pieceSectors_;
  std::uint32_t followRequestSectors_;
  Piece current_;  // the scan thread's alone

  std::mutex plainMutex_;  // the plain source is read by both threads
  std::mutex mutex_;       // guards everything below
  std::condition_variable wake_;
  Piece next_;
  std::uint64_t wantedIndex_ = kNoPiece;
  bool pending_ = false;
  bool nextReady_ = false;
  bool quit_ = false;
  std::thread thread_;  // last: started once the members above exist
};

}  // namespace nua
