#include "media/media_reader.h"

#include "base/log.h"
#include "base/text.h"

namespace nua {

MediaReader::MediaReader() = default;

MediaReader::~MediaReader() = default;

void MediaReader::initWithDictionary(const Dict& dict, MediaContext context) {
  context_ = context;
  const std::int64_t sector = dict.int64("Preferred Block Size");
  u32BytesInSector = sector > 0 && sector <= (1 << 20) ? static_cast<std::int32_t>(sector) : 512;
  path = dict.string("Path");
  containerKind = dict.string("Container");
  sizeInBytes = dict.uint64("Size");
  sizeInSect = sizeInBytes / static_cast<std::uint64_t>(u32BytesInSector);
  model = dict.string("device model");
  serial = dict.string("device serial");
  revision = dict.string("device revision");
  volumePMArray.clear();
  abortVolumeScan = false;
}

std::unique_ptr<MediaReader> MediaReader::mutableCopy() const {
  auto copy = std::make_unique<MediaReader>();
  copy->context_ = context_;
  if (!path.empty()) copy->path = path;
  if (!model.empty()) copy->model = model;
  if (!serial.empty()) copy->serial = serial;
  if (!revision.empty()) copy->revision = revision;
  if (sizeInSect != 0) copy->sizeInSect = sizeInSect;
  if (u32BytesInSector != 0) copy->u32BytesInSector = u32BytesInSector;
  if (HPlusVolStart != 0) copy->HPlusVolStart = HPlusVolStart;
  if (blockSize != 0) copy->blockSize = blockSize;
  return copy;
}

std::shared_ptr<DeviceFile> MediaReader::deviceFile(int& errorNumber) {
  std::lock_guard lock(openMutex_);
  errorNumber = 0;
  if (!file_) file_ = DeviceFile::open(path, errorNumber);
  return file_;
}

bool MediaReader::readSector(std::uint64_t sector, std::int32_t size, std::span<std::byte> buffer) {
  return readWith(ReaderKind::kScan, sector, size, buffer) != ReadOutcome::kFailed;
}

bool MediaReader::readPreviewSector(std::uint64_t sector, std::int32_t size, std::span<std::byte> buffer) {
  return readWith(ReaderKind::kPreview, sector, size, buffer) != ReadOutcome::kFailed;
}

ReadOutcome MediaReader::readSaveSector(std::uint64_t sector, std::int32_t size, std::span<std::byte> buffer) {
  return readWith(ReaderKind::kSave, sector, size, buffer);
}

ReadOutcome MediaReader::readWith(ReaderKind kind, std::uint64_t sector, std::int32_t size, std::span<std::byte> buffer) {
  if (size <= 0 || u32BytesInSector <= 0) return ReadOutcome::kFailed;
  // 64-bit products: a 32-bit byte count wraps for large runs and would read a wrong length.
  const std::uint64_t byteCount = static_cast<std::uint64_t>(u32BytesInSector) * static_cast<std::uint64_t>(size);
  if (byteCount > buffer.size()) {
    logLine("Read refused: buffer of " + std::to_string(buffer.size()) + " bytes for " + std::to_string(byteCount));
    return ReadOutcome::kFailed;
  }
  const std::uint64_t sectorBytes = static_cast<std::uint64_t>(u32BytesInSector);
  if (sector > UINT64_MAX / sectorBytes) return ReadOutcome::kFailed;

  int errorNumber = 0;
  std::shared_ptr<DeviceFile> file = deviceFile(errorNumber);
  if (!file && kind == ReaderKind::kScan) {
    if (context_.ui)
      context_.ui->runAlertPanel({"! Could not open drive",
                                  formatText("A valid fileDesc could not be obtained for drive: %@", {path}),
                                  {"OK"}});
    return ReadOutcome::kFailed;
  }
  if (file) {
    const ReadOutcome outcome = file->readAt(sector * sectorBytes, buffer.first(byteCount), errorNumber);
    if (outcome == ReadOutcome::kShortAtEnd && kind == ReaderKind::kSave) {
      logLine("Unable to read from the drive " + path + ": it ends within sectors " + std::to_string(sector) +
              " to " + std::to_string(sector + static_cast<std::uint64_t>(size) - 1));
    }
    if (outcome != ReadOutcome::kFailed) return outcome;
  }
  // Preview and save readers do not test the open: an unopenable source is a failing read.
  logLine("Unable to read from the drive " + path + " error: " + std::to_string(errorNumber));
  logLine("Further info, sectorNum: " + std::to_string(sector) + ", size: " + std::to_string(size) +
          ", sizeInSect: " + std::to_string(sizeInSect));

  // A path still in the lists the wizard last built is a bad sector, not a lost device.
  if (context_.lists && context_.lists->snapshot()->listsPath(path)) return ReadOutcome::kFailed;
  if (!context_.ui) return ReadOutcome::kFailed;
  switch (kind) {
    case ReaderKind::kScan:
      context_.ui->runAlertPanel(
          {"! Error", "The Drive or Volume being read is no longer available. The Program will quit now.", {"Quit"}});
      context_.ui->terminateApp();
      break;
    case ReaderKind::kPreview:
      context_.ui->runAlertPanel(
          {"! Can not show preview", "The Drive or Volume being read is no longer available.", {"OK"}});
      context_.ui->previewClose();
      break;
    case ReaderKind::kSave:
      context_.ui->runAlertPanel(
          {"! Can not save files", "The Drive or Volume being read is no longer available.", {"OK"}});
      context_.ui->previewClose();
      break;
  }
  return ReadOutcome::kFailed;
}

namespace {
std::uint32_t byteWalk(std::span<const std::byte> buffer, std::int64_t position, std::int64_t offset, int count) {
  std::int64_t index = position + offset;
  const std::int64_t step = offset == 0 ? 1 : -1;
  std::uint32_t value = 0;
  for (int i = 0; i < count; ++i, index += step) {
    if (index < 0 || static_cast<std::uint64_t>(index) >= buffer.size()) return 0;
    value = (value << 8) | static_cast<std::uint32_t>(buffer[static_cast<std::size_t>(index)]);
  }
  return value;
}
}  // namespace

std::uint32_t fourByteRead(std::span<const std::byte> buffer, std::int64_t position, std::int64_t offset) {
  return byteWalk(buffer, position, offset, 4);
}

std::uint32_t twoByteRead(std::span<const std::byte> buffer, std::int64_t position, std::int64_t offset) {
  return byteWalk(buffer, position, offset, 2);
}

}  // namespace nua
