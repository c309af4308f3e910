// A read-only source of fixed-size sectors, the one thing the format checks read through. It hides
// whether the bytes come from a device, an image or memory, and makes the device end explicit.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "media/device_file.h"

namespace nua {

class SectorSource {
 public:
  virtual ~SectorSource() = default;

  [[nodiscard]] virtual std::uint32_t bytesPerSector() const = 0;
  // Sectors from 0 to the end of the source; a read at or past it gives zeros.
  [[nodiscard]] virtual std::uint64_t sectorCount() const = 0;
  // Reads `count` sectors at `sector` into the front of `buffer`. Bytes past the end of the source are
  // zero, never left over from an earlier read. False when the buffer is too small or the source
  // cannot be read (the rest of the buffer is then zero too).
  [[nodiscard]] virtual bool readSectors(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) = 0;
};

// A source over bytes held in memory: for tests and for checks over a buffer already read.
class MemorySectorSource final : public SectorSource {
 public:
  MemorySectorSource(std::vector<std::byte> bytes, std::uint32_t bytesPerSector);

  [[nodiscard]] std::uint32_t bytesPerSector() const override { return bytesPerSector_; }
  [[nodiscard]] std::uint64_t sectorCount() const override;
  [[nodiscard]] bool readSectors(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) override;
  [[nodiscard]] const std::vector<std::byte>& bytes() const { return bytes_; }

 private:
  std::vector<std::byte> bytes_;
  std::uint32_t bytesPerSector_;
};

// A source over an open device or image, read-only. `firstSector` and `sectorCount` narrow it to a
// range of the device (a volume), counted in `bytesPerSector` units.
class DeviceSectorSource final : public SectorSource {
 public:
  DeviceSectorSource(std::shared_ptr<const DeviceFile> file, std::uint32_t bytesPerSector);
  DeviceSectorSource(std::shared_ptr<const DeviceFile> file, std::uint32_t bytesPerSector, std::uint64_t firstSector,
                     std::uint64_t sectorCount);

  [[nodiscard]] std::uint32_t bytesPerSector() const override { return bytesPerSector_; }
  [[nodiscard]] std::uint64_t sectorCount() const override { return sectorCount_; }
  [[nodiscard]] bool readSectors(std::uint64_t sector, std::uint32_t count, std::span<std::byte> buffer) override;
  // The errno of the last failed read, 0 when none failed.
  [[nodiscard]] int lastError() const { return lastError_; }

 private:
  std::shared_ptr<const DeviceFile> file_;
  std::uint32_t bytesPerSector_;
  std::uint64_t firstSector_ = 0;
  std::uint64_t sectorCount_ = 0;
  int lastError_ = 0;
};

}  // namespace nua
