// The state of one running search, shared by the buffer loops and the step that examines a sector.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "signature/signature_scan_engine.h"

namespace nua::detail {

// What a step asks the loop to do after a find.
struct StepJump {
  enum class Kind { kNone, kOverFileCheckFind, kOverSignatureFind };
  Kind kind = Kind::kNone;
  std::uint64_t units = 0;  // B of a file-check find, K of a signature find
};

class SignatureScanRunner {
 public:
  SignatureScanRunner(const SignatureScanSetup& setup, ScanUnitRange range);

  SignatureScanResult run(std::uint64_t resumeUnit);

 private:
  void runDiskSectors(std::uint64_t startUnit);
  void runFortyUnits(std::uint64_t startUnit);
  // Reads `count` sectors at `sector`; a failed read is retried sector by sector and only the sectors
  // that fail are marked unreadable.
  void readBuffer(std::uint64_t sector, std::uint32_t count);
  // Examines one candidate sector: index `sectorIndex` of the buffer.
  [[nodiscard]] StepJump examine(std::uint32_t sectorIndex, const CarvedPosition& at);
  [[nodiscard]] bool runFileChecks(ByteSpan sector, const CarvedPosition& at, StepJump& jump);
  [[nodiscard]] StepJump runSignatureTables(ByteSpan fromSector, const CarvedPosition& at);
  [[nodiscard]] StepJump signatureJump(const Sig& primary) const;
  [[nodiscard]] std::uint64_t unitsForBytes(std::uint64_t bytes) const;
  [[nodiscard]] std::uint64_t unitFirstSector(std::uint64_t unit) const;
  [[nodiscard]] bool knownFileStartsAt(std::uint64_t unit) const;
  // Counts a step; once the save interval has passed, the next buffer's first unit is saved. A search
  // resumed there reads the same buffers as one never stopped, and the jump rules, which depend on
  // where a buffer ends, then skip and find exactly the same files.
  void countForResume();
  void savePositionAtBufferStart(std::uint64_t unit);
  void refresh();
  [[nodiscard]] bool stopRequested() const { return setup_.stop != nullptr && setup_.stop->load(); }

  const SignatureScanSetup& setup_;
  ScanLoopTraits traits_;
  ScanUnitRange range_;
  std::uint32_t bytesPerSector_;
  std::uint32_t sectorsPerUnit_;  // sectors of one unit; 1 on the whole-disk loop
  std::uint64_t saveInterval_;
  std::uint64_t saveCounter_ = 0;
  bool savePending_ = false;
  std::uint64_t progressCounter_ = 0;
  std::vector<std::byte> buffer_;
  std::vector<bool> sectorReadable_;
  std::vector<std::byte> headerCopy_;
  SignatureScanResult result_;
  std::chrono::steady_clock::time_point started_;
};

}  // namespace nua::detail
