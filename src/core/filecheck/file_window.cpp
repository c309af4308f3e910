// The shared read window of the file checks.
#include "filecheck/file_window.h"

#include <algorithm>

namespace nua {

FileWindow::FileWindow(SectorSource& source, FileCheckScanState& state, std::uint64_t fileFirstSector)
    : source_(source), state_(state), fileFirstSector_(fileFirstSector) {
  bytesPerSector_ = source.bytesPerSector() == 0 ? 512 : source.bytesPerSector();
  sectorsPerRead_ = std::max<std::uint32_t>(1, static_cast<std::uint32_t>(kFilledBytes / bytesPerSector_));
  buffer_.resize(static_cast<std::size_t>(sectorsPerRead_) * bytesPerSector_ + kSpareBytes);
}

bool FileWindow::ensure(std::uint64_t fileOffset, std::size_t length) {
  if (failed_ || length > kSpareBytes) return false;
  const std::uint64_t filled = buffer_.size() - kSpareBytes;
  if (loaded_ && fileOffset >= windowStart_ && fileOffset - windowStart_ <= filled - length) return true;
  const std::uint64_t sectorOffset = fileOffset / bytesPerSector_;
  // A file offset near 2^64 cannot come from a bounded walk, but the sector sum must not wrap.
  if (sectorOffset > UINT64_MAX - fileFirstSector_) {
    failed_ = true;
    return false;
  }
  std::fill(buffer_.begin(), buffer_.end(), std::byte{0});
  if (!source_.readSectors(fileFirstSector_ + sectorOffset, sectorsPerRead_, buffer_)) {
    failed_ = true;
    state_.reportReadError(fileFirstSector_ + sectorOffset);
    return false;
  }
  windowStart_ = sectorOffset * bytesPerSector_;
  loaded_ = true;
  return true;
}

ByteSpan FileWindow::bytesAt(std::uint64_t fileOffset, std::size_t length) {
  if (!ensure(fileOffset, length)) return {};
  return ByteSpan(buffer_).subspan(static_cast<std::size_t>(fileOffset - windowStart_), length);
}

std::uint8_t FileWindow::byteAtAfterLoad(std::uint64_t fileOffset) {
  const ByteSpan b = bytesAt(fileOffset, 1);
  return b.empty() ? 0 : u8(b, 0);
}
std::uint16_t FileWindow::be16At(std::uint64_t fileOffset) {
  const ByteSpan b = bytesAt(fileOffset, 2);
  return b.empty() ? 0 : be16(b, 0);
}
std::uint32_t FileWindow::be32At(std::uint64_t fileOffset) {
  const ByteSpan b = bytesAt(fileOffset, 4);
  return b.empty() ? 0 : be32(b, 0);
}
std::uint16_t FileWindow::le16At(std::uint64_t fileOffset) {
  const ByteSpan b = bytesAt(fileOffset, 2);
  return b.empty() ? 0 : le16(b, 0);
}
std::uint32_t FileWindow::le32At(std::uint64_t fileOffset) {
  const ByteSpan b = bytesAt(fileOffset, 4);
  return b.empty() ? 0 : le32(b, 0);
}
std::uint64_t FileWindow::be64At(std::uint64_t fileOffset) {
  const ByteSpan b = bytesAt(fileOffset, 8);
  return b.empty() ? 0 : be64(b, 0);
}
std::uint32_t FileWindow::be24At(std::uint64_t fileOffset) {
  const ByteSpan b = bytesAt(fileOffset, 3);
  return b.empty() ? 0 : (static_cast<std::uint32_t>(be16(b, 0)) * 256u + u8(b, 2));
}

bool FileWindow::textAt(std::uint64_t fileOffset, std::string_view text) {
  const ByteSpan b = bytesAt(fileOffset, text.size());
  if (b.size() != text.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (static_cast<char>(b[i]) != text[i]) return false;
  }
  return true;
}

}  // namespace nua
