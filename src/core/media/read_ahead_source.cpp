#include "media/read_ahead_source.h"

#include <algorithm>
#include <cstring>

#include "container/raw_file.h"

namespace nua {

ReadAheadSource::ReadAheadSource(SectorSource& plain, ReadAheadOptions options, const DeviceFile* device)
    : plain_(plain), bytesPerSector_(plain.bytesPerSector() == 0 ? 512 : plain.bytesPerSector()),
      sectorCount_(plain.sectorCount()),
      pieceSectors_(std::max<std::uint64_t>(1, options.pieceBytes / bytesPerSector_)),
      followRequestSectors_(options.followRequestSectors), thread_([this] { prefetchLoop(); }) {
  if (device != nullptr && device->containerKind() == ContainerKind::kRaw) {
    static_cast<const RawFile&>(device->container()).adviseSequentialReads();
  }
}

ReadAheadSource::~ReadAheadSource() {
  {
    std::lock_guard lock(mutex_);
    quit_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

bool ReadAheadSource::readPlain(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) {
  std::lock_guard lock(plainMutex_);
  return plain_.readSectors(sector, count, buffer);
}

void ReadAheadSource::readPiece(std::uint64_t index, Piece& into) {
  into.index = index;
  into.bytes.resize(static_cast<std::size_t>(pieceSectors_ * bytesPerSector_));
  into.readable = readPlain(index * pieceSectors_, static_cast<std::uint32_t>(pieceSectors_), into.bytes);
}

void ReadAheadSource::copyOut(const Piece& piece, std::uint64_t sector, std::size_t length,
                              std::span<std::byte> buffer) const {
  const auto offset = static_cast<std::size_t>((sector - piece.index * pieceSectors_) * bytesPerSector_);
  std::memcpy(buffer.data(), piece.bytes.data() + offset, length);
}

void ReadAheadSource::requestAfter(std::uint64_t index) {
  std::lock_guard lock(mutex_);
  nextReady_ = false;
  if ((index + 1) * pieceSectors_ >= sectorCount_) {
    wantedIndex_ = kNoPiece;
    pending_ = false;
    return;
  }
  wantedIndex_ = index + 1;
  pending_ = true;
  wake_.notify_all();
}

void ReadAheadSource::takePrefetched() {
  std::unique_lock lock(mutex_);
  wake_.wait(lock, [this] { return nextReady_ || quit_; });
  std::swap(current_, next_);
  nextReady_ = false;
}

bool ReadAheadSource::readSectors(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) {
  const std::uint64_t length = std::uint64_t{count} * bytesPerSector_;
  // Requests the pieces cannot answer byte for byte go to the plain source as they are.
  if (count == 0 || length > buffer.size() || sector >= sectorCount_) return readPlain(sector, count, buffer);
  const std::uint64_t index = sector / pieceSectors_;
  if ((sector + count - 1) / pieceSectors_ != index) return readPlain(sector, count, buffer);
  if (current_.index != index) {
    bool prefetched = false;
    {
      std::lock_guard lock(mutex_);
      prefetched = wantedIndex_ == index;
    }
    if (prefetched) {
      takePrefetched();
      requestAfter(index);
    } else if (count >= followRequestSectors_) {
      readPiece(index, current_);
      requestAfter(index);
    } else {
      return readPlain(sector, count, buffer);
    }
  }
  if (current_.index != index || !current_.readable) return readPlain(sector, count, buffer);
  copyOut(current_, sector, static_cast<std::size_t>(length), buffer);
  return true;
}

void ReadAheadSource::prefetchLoop() {
  Piece staging;
  std::unique_lock lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return quit_ || pending_; });
    if (quit_) return;
    const std::uint64_t index = wantedIndex_;
    pending_ = false;
    lock.unlock();
    readPiece(index, staging);
    lock.lock();
    // A newer request replaced this one while it was read: drop the piece.
    if (!pending_ && wantedIndex_ == index) {
      std::swap(next_, staging);
      nextReady_ = true;
      wake_.notify_all();
    }
  }
}

}  // namespace nua
