#include "container/udif_image.h"

#include <bzlib.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "container/udif_resource_list.h"

namespace nua {
namespace {

// Disk Utility writes chunks of at most 1 MiB inflated; anything far larger is damage, and would
// otherwise let one table entry ask for gigabytes of memory.
constexpr std::uint64_t kMaxChunkBytes = 16ull << 20;
constexpr std::uint64_t kMaxPropertyListBytes = 256ull << 20;
// Enough inflated chunks for several readers (scan, preview, save) to each keep their own run warm,
// within a memory budget that holds even when every chunk is as large as allowed.
constexpr std::size_t kCachedChunks = 16;
constexpr std::size_t kCacheBudgetBytes = 64u << 20;

std::string unsupportedCompression(std::uint32_t entryType) {
  const char* name = nullptr;
  switch (static_cast<UdifChunkType>(entryType)) {
    case UdifChunkType::kLzfse: name = "LZFSE"; break;
    case UdifChunkType::kLzma: name = "LZMA"; break;
    case UdifChunkType::kAdc: name = "ADC"; break;
    default: return "";
  }
  return std::string("compressed with ") + name +
         ", not supported; convert it with \"hdiutil convert IMAGE -format UDZO -o COPY\" on a Mac, or to raw "
         "bytes with \"hdiutil convert IMAGE -format UDTO -o COPY\"";
}

bool isSupportedType(std::uint32_t entryType) {
  switch (static_cast<UdifChunkType>(entryType)) {
    case UdifChunkType::kZeroFill:
    case UdifChunkType::kRaw:
    case UdifChunkType::kIgnore:
    case UdifChunkType::kZlib:
    case UdifChunkType::kBzip2: return true;
    default: return false;
  }
}

}  // namespace

bool hasUdifTrailer(const RawFile& file) {
  if (file.sizeInBytes() < kUdifTrailerSize) return false;
  std::byte signature[4]{};
  int errorNumber = 0;
  if (file.readAt(file.sizeInBytes() - kUdifTrailerSize, signature, errorNumber) != ReadOutcome::kComplete) return false;
  return std::memcmp(signature, "koly", 4) == 0;
}

std::unique_ptr<UdifImage> UdifImage::open(std::unique_ptr<RawFile> file, int& errorNumber, std::string& problem) {
  errorNumber = EINVAL;
  problem.clear();
  const std::uint64_t fileSize = file->sizeInBytes();
  std::vector<std::byte> trailerBytes(kUdifTrailerSize);
  if (fileSize < kUdifTrailerSize ||
      file->readAt(fileSize - kUdifTrailerSize, trailerBytes, errorNumber) != ReadOutcome::kComplete) {
    problem = "UDIF trailer cannot be read";
    if (errorNumber == 0) errorNumber = EIO;
    return nullptr;
  }
  const auto parsedTrailer = parseUdifTrailer(trailerBytes);
  if (const auto* bad = std::get_if<UdifProblem>(&parsedTrailer)) {
    problem = bad->message;
    return nullptr;
  }
  const UdifTrailer& trailer = std::get<UdifTrailer>(parsedTrailer);
  if (trailer.segmentCount > 1) {
    problem = "UDIF image in " + std::to_string(trailer.segmentCount) + " segments, not supported";
    return nullptr;
  }
  if (trailer.xmlLength == 0 || trailer.xmlLength > kMaxPropertyListBytes || trailer.xmlOffset > fileSize ||
      trailer.xmlLength > fileSize - trailer.xmlOffset) {
    problem = "UDIF trailer: xmlOffset and xmlLength at 0xd8 lie outside the file";
    return nullptr;
  }
  std::string propertyList(static_cast<std::size_t>(trailer.xmlLength), '\0');
  if (file->readAt(trailer.xmlOffset, std::as_writable_bytes(std::span(propertyList)), errorNumber) !=
      ReadOutcome::kComplete) {
    problem = "UDIF property list cannot be read";
    if (errorNumber == 0) errorNumber = EIO;
    return nullptr;
  }
  errorNumber = EINVAL;
  const auto parsedList = parseUdifBlockTableList(propertyList);
  if (const auto* bad = std::get_if<UdifProblem>(&parsedList)) {
    problem = bad->message;
    return nullptr;
  }

  auto image = std::unique_ptr<UdifImage>(new UdifImage(std::move(file)));
  for (const auto& tableBytes : std::get<std::vector<std::vector<std::byte>>>(parsedList)) {
    auto parsedTable = parseUdifBlockTable(tableBytes, trailer.dataForkOffset);
    if (const auto* bad = std::get_if<UdifProblem>(&parsedTable)) {
      problem = bad->message;
      return nullptr;
    }
    for (const UdifChunk& chunk : std::get<UdifBlockTable>(parsedTable).chunks) {
      if (const std::string unsupported = unsupportedCompression(chunk.entryType); !unsupported.empty()) {
        problem = unsupported;
        return nullptr;
      }
      if (!isSupportedType(chunk.entryType)) {
        problem = "block table: chunk type " + std::to_string(chunk.entryType) + " is unknown";
        return nullptr;
      }
      const bool stored = chunk.entryType != static_cast<std::uint32_t>(UdifChunkType::kZeroFill) &&
                          chunk.entryType != static_cast<std::uint32_t>(UdifChunkType::kIgnore);
      if (chunk.sectorCount > kMaxChunkBytes / kUdifSectorSize ||
          (stored && (chunk.compressedOffset > fileSize || chunk.compressedLength > fileSize - chunk.compressedOffset ||
                      chunk.compressedLength > kMaxChunkBytes * 2))) {
        problem = "block table: a chunk at sector " + std::to_string(chunk.sectorNumber) + " lies outside the file";
        return nullptr;
      }
      if (chunk.entryType == static_cast<std::uint32_t>(UdifChunkType::kRaw) &&
          chunk.compressedLength < chunk.sectorCount * kUdifSectorSize) {
        problem = "block table: raw chunk at sector " + std::to_string(chunk.sectorNumber) + " is shorter than its sectors";
        return nullptr;
      }
      image->chunks_.push_back(chunk);
    }
  }
  std::sort(image->chunks_.begin(), image->chunks_.end(),
            [](const UdifChunk& a, const UdifChunk& b) { return a.sectorNumber < b.sectorNumber; });
  std::uint64_t end = 0;
  for (const UdifChunk& chunk : image->chunks_) {
    if (chunk.sectorNumber < end) {
      problem = "block table: chunks overlap at sector " + std::to_string(chunk.sectorNumber);
      return nullptr;
    }
    end = chunk.sectorNumber + chunk.sectorCount;
  }
  // The trailer's count is the disk's size; tables past it would be sectors that are not there.
  const std::uint64_t sectors = trailer.sectorCount != 0 ? trailer.sectorCount : end;
  if (end > sectors) {
    problem = "block table: chunks run to sector " + std::to_string(end) + ", past the trailer's sectorCount " +
              std::to_string(sectors);
    return nullptr;
  }
  image->sizeInBytes_ = sectors * kUdifSectorSize;
  errorNumber = 0;
  return image;
}

std::shared_ptr<const std::vector<std::byte>> UdifImage::inflatedChunk(std::size_t index, int& errorNumber) const {
  {
    std::lock_guard lock(cacheMutex_);
    for (auto it = cache_.begin(); it != cache_.end(); ++it) {
      if (it->index != index) continue;
      cache_.splice(cache_.begin(), cache_, it);
      return cache_.front().bytes;
    }
  }
  const UdifChunk& chunk = chunks_[index];
  std::vector<std::byte> packed(static_cast<std::size_t>(chunk.compressedLength));
  if (file_->readAt(chunk.compressedOffset, packed, errorNumber) != ReadOutcome::kComplete) {
    if (errorNumber == 0) errorNumber = EIO;
    return nullptr;
  }
  auto inflated = std::make_shared<std::vector<std::byte>>(static_cast<std::size_t>(chunk.sectorCount * kUdifSectorSize));
  bool whole = false;
  if (chunk.entryType == static_cast<std::uint32_t>(UdifChunkType::kZlib)) {
    uLongf length = static_cast<uLongf>(inflated->size());
    whole = ::uncompress(reinterpret_cast<Bytef*>(inflated->data()), &length,
                         reinterpret_cast<const Bytef*>(packed.data()), static_cast<uLong>(packed.size())) == Z_OK &&
            length == inflated->size();
  } else {
    unsigned int length = static_cast<unsigned int>(inflated->size());
    whole = BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(inflated->data()), &length,
                                       reinterpret_cast<char*>(packed.data()), static_cast<unsigned int>(packed.size()),
                                       0, 0) == BZ_OK &&
            length == inflated->size();
  }
  if (!whole) {
    errorNumber = EIO;
    return nullptr;
  }
  std::lock_guard lock(cacheMutex_);
  cache_.push_front({index, inflated});
  std::size_t cachedBytes = 0;
  for (const CachedChunk& cached : cache_) cachedBytes += cached.bytes->size();
  while (cache_.size() > 1 && (cache_.size() > kCachedChunks || cachedBytes > kCacheBudgetBytes)) {
    cachedBytes -= cache_.back().bytes->size();
    cache_.pop_back();
  }
  return inflated;
}

ReadOutcome UdifImage::readAt(std::uint64_t byteOffset, std::span<std::byte> buffer, int& errorNumber) const {
  errorNumber = 0;
  std::size_t done = 0;
  while (done < buffer.size()) {
    const std::uint64_t position = byteOffset + done;
    if (position < byteOffset || position >= sizeInBytes_) return ReadOutcome::kShortAtEnd;
    const std::uint64_t sector = position / kUdifSectorSize;
    auto after = std::upper_bound(chunks_.begin(), chunks_.end(), sector,
                                  [](std::uint64_t s, const UdifChunk& c) { return s < c.sectorNumber; });
    if (after == chunks_.begin() || (after - 1)->sectorNumber + (after - 1)->sectorCount <= sector) {
      errorNumber = EIO;  // no table covers this sector: unknown bytes, not zeros
      return ReadOutcome::kFailed;
    }
    const std::size_t index = static_cast<std::size_t>(after - chunks_.begin()) - 1;
    const UdifChunk& chunk = chunks_[index];
    const std::uint64_t within = position - chunk.sectorNumber * kUdifSectorSize;
    const std::uint64_t left = chunk.sectorCount * kUdifSectorSize - within;
    const std::size_t length = static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer.size() - done));
    const std::span<std::byte> out = buffer.subspan(done, length);
    switch (static_cast<UdifChunkType>(chunk.entryType)) {
      case UdifChunkType::kZeroFill:
      case UdifChunkType::kIgnore: std::fill(out.begin(), out.end(), std::byte{0}); break;
      case UdifChunkType::kRaw:
        if (file_->readAt(chunk.compressedOffset + within, out, errorNumber) != ReadOutcome::kComplete) {
          if (errorNumber == 0) errorNumber = EIO;
          return ReadOutcome::kFailed;
        }
        break;
      default: {
        const auto inflated = inflatedChunk(index, errorNumber);
        if (!inflated) return ReadOutcome::kFailed;
        std::memcpy(out.data(), inflated->data() + within, length);
      }
    }
    done += length;
  }
  return ReadOutcome::kComplete;
}

}  // namespace nua
