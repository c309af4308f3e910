// One examined sector: the file checks of a combined search, then the signature tables with the MP3
// forcing rule and the extra rows, and the find handed to the sink.
#include <algorithm>

#include "formats/format_dispatch.h"
#include "signature/detail/signature_scan_runner.h"

namespace nua::detail {
namespace {

// The key of the MP3 row ("ID"): forced once on every sector so that MP3 frames without a tag are tried.
constexpr std::uint64_t kMp3TagKey = 0x4944;

void clearScratch(Sig& row, FormatContext& context) {
  row.foundSize = 0;
  row.skipSize = 0;
  row.skipFileSize = false;
  context.foundName.reset();
  context.foundParentPath.reset();
}

}  // namespace

StepJump SignatureScanRunner::examine(std::uint32_t sectorIndex, const CarvedPosition& at) {
  const std::size_t offset = std::size_t{sectorIndex} * bytesPerSector_;
  const ByteSpan fromSector(buffer_.data() + offset, buffer_.size() - offset);
  if (!traits_.combined) {
    // An RTFD text whose pictures were all matched needs no more looking.
    if (setup_.context->rtfd.graphics.empty()) setup_.context->rtfd.lookForRtfAttachments = false;
    return runSignatureTables(fromSector, at);
  }
  StepJump fileCheckJump;
  const bool registered = runFileChecks(fromSector.first(bytesPerSector_), at, fileCheckJump);
  StepJump jump = fileCheckJump;
  if (!registered) {
    const StepJump tableJump = runSignatureTables(fromSector, at);
    if (tableJump.kind != StepJump::Kind::kNone) jump = tableJump;
  }
  if (setup_.fileChecks.state != nullptr) setup_.fileChecks.state->clearPerStepFlags();
  return jump;
}

bool SignatureScanRunner::runFileChecks(ByteSpan sector, const CarvedPosition& at, StepJump& jump) {
  FileCheckList* list = setup_.fileChecks.list;
  FileCheckScanState* state = setup_.fileChecks.state;
  if (list == nullptr || state == nullptr) return false;
  std::copy_n(sector.begin(), std::min(sector.size(), headerCopy_.size()), headerCopy_.begin());
  const FileCheckHit hit = list->run(headerCopy_, at.absoluteSector);
  bool registered = false;
  if (hit.check != nullptr && hit.size > 0) {
    ++result_.finds;
    setup_.finds->addFileCheckFind(at, *hit.check, hit.size);
    registered = true;
    if (state->rawJpg.found && state->rawJpg.size >= 1025) {
      const std::uint64_t jpgSector = state->rawJpg.sectorNumber;
      const std::uint64_t volumeStart = setup_.geometry.volumeStartSector;
      setup_.finds->addRawJpgFind(CarvedPosition{jpgSector, jpgSector >= volumeStart ? jpgSector - volumeStart : 0},
                                  state->rawJpg.extraBytesOfOffset, state->rawJpg.size);
      state->rawJpg = RawJpgReport{};
    }
  }
  if (state->skipFileSize) {
    state->skipFileSize = false;
    jump = StepJump{StepJump::Kind::kOverFileCheckFind, unitsForBytes(hit.size)};
  }
  return registered;
}

StepJump SignatureScanRunner::signatureJump(const Sig& primary) const {
  if (!primary.skipFileSize || primary.skipSize == 0) return {};
  const bool disk = traits_.diskSectors || setup_.loop == SignatureScanLoop::kDiskPhoto;
  return StepJump{StepJump::Kind::kOverSignatureFind, disk ? primary.skipSize : primary.skipSize / sectorsPerUnit_};
}

StepJump SignatureScanRunner::runSignatureTables(ByteSpan fromSector, const CarvedPosition& at) {
  if (setup_.tables == nullptr) return {};
  FormatContext& context = *setup_.context;
  const std::uint16_t firstTwoBytes = fromSector.size() >= 2 ? be16(fromSector, 0) : 0;
  bool mp3Forced = false;
  bool mp3SkippedOnce = false;
  bool mp3Retried = false;
  const auto& groups = setup_.tables->groups();
  for (std::size_t j = 0; j < groups.size(); ++j) {
    if (stopRequested()) return {};
    const SignatureTableGroup& group = groups[j];
    std::uint64_t key = headerKeyAt(fromSector, group.offset, group.headerLength);
    if (group.offset == 0 && group.headerLength == 2 && !mp3Forced && group.index.find(kMp3TagKey) != nullptr) {
      mp3Forced = true;
      key = kMp3TagKey;
    }
    Sig* row = group.index.find(key);
    if (row == nullptr) continue;
    clearScratch(*row, context);
    if (formats::runCheckForSigRow(*setup_.source, context, *row, firstTwoBytes, mp3SkippedOnce, at.recordedSector)) {
      ++result_.finds;
      setup_.finds->addSignatureFind(at, *row, context);
      return signatureJump(*row);
    }
    if (!row->extraExts.empty()) {
      for (Sig& extra : row->extraExts) {
        clearScratch(*row, context);
        clearScratch(extra, context);
        if (formats::runCheckForSigRow(*setup_.source, context, extra, firstTwoBytes, mp3SkippedOnce,
                                       at.recordedSector)) {
          ++result_.finds;
          setup_.finds->addSignatureFind(at, extra, context);
          // The jump reads the primary row, where a check given the extra row never writes.
          return signatureJump(*row);
        }
      }
      return {};
    }
    // The MP3 filter turned the forced key down before any check ran: look the sector's own key up.
    if (row->extension == "mp3" && !mp3SkippedOnce && !mp3Retried) {
      mp3Retried = true;
      --j;
    }
  }
  return {};
}

}  // namespace nua::detail
