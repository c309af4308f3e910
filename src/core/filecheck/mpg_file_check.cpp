// MPEG program streams and elementary video streams.
#include "filecheck/mpg_file_check.h"

namespace nua {

namespace {

constexpr std::uint32_t kPackStart = 0x1BA;
constexpr std::uint32_t kSequenceHeader = 0x1B3;
constexpr std::uint32_t kSequenceEnd = 0x1B7;
constexpr std::uint64_t kLookAhead = 11620;
constexpr std::uint64_t kShortStream = 10241;

bool isStreamStart(std::uint32_t word) {
  return word == 0x1B8 || word == 0x1BB || word == 0x1BD || word == 0x1BE || word == 0x1BF || word == 0x1C0 ||
         word == 0x1E0;
}

// A start code that shows the stream goes on after a stretch the walk cannot parse.
bool continuesStream(std::uint32_t word) {
  return (word >= 442 && word <= 448) || word == 479 || word == 480 || word == 495;
}

// Start codes the sequence walk stops at.
bool isVideoStartCode(std::uint32_t word) {
  return word == 0x100 || (word >= 0x1B0 && word <= 0x1B6) || word == 0x1B8 || word == kSequenceEnd;
}

// What may follow a sequence end: another stream, picture, or pack.
bool mayFollowSequenceEnd(std::uint32_t word) {
  return word == 0x100 || word == 0x1B8 || (word >= 0x1BA && word <= 0x1C0) || word == 0x1DF || word == 0x1E0 ||
         word == 0x1EF;
}

}  // namespace

bool MpgFileCheck::isFile(ByteSpan header, std::uint64_t sector) {
  const std::uint32_t first = headerBe32(header, 0);
  if (first != kPackStart && first != kSequenceHeader) return false;
  header0x1B3_ = first == kSequenceHeader;
  FileWindow window = openWindow(sector);
  for (std::uint32_t position = 0; position < 50; ++position) {
    if (isStreamStart(window.be32At(position))) {
      state_.baFrameValue = position;
      return !window.failed();
    }
  }
  return false;
}

std::uint64_t MpgFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const bool sequence = headerBe32(header, 0) == kSequenceHeader;
  const std::uint64_t size = sequence ? sequenceStreamSize(window) : packStreamSize(window);
  return window.failed() ? 0 : size;
}

std::uint64_t MpgFileCheck::packStreamSize(FileWindow& window) {
  state_.skipFileSize = false;
  std::uint64_t total = 0;
  bool lookedAhead = false;
  std::uint32_t nonZeroWords = 0;
  std::uint32_t zeroWords = 0;
  while (!window.failed()) {
    if ((total & 0xFFF) == 0 && window.cancelled()) break;
    if (total > 0xFFFFFFF0) {
      state_.skipFileSize = true;
      return 0x3C00000;
    }
    const std::uint32_t word = window.be32At(total);
    if (word == kPackStart) {
      // A zero distance would hold the walk in place; the pack header is at least its start code.
      total += state_.baFrameValue == 0 ? 4 : state_.baFrameValue;
      nonZeroWords = zeroWords = 0;
    } else if (word >= 441 && word <= 495) {
      total += static_cast<std::uint64_t>(window.be16At(total + 4)) + 6;
      nonZeroWords = zeroWords = 0;
    } else if (!lookedAhead) {
      lookedAhead = true;
      if (!continuesStream(window.be32At(total + kLookAhead))) total += kLookAhead;
    } else {
      // Between packs: a few stray words are tolerated, a long stretch ends the stream.
      if (word == 0) {
        if (++zeroWords > 100) break;
      } else if (++nonZeroWords > 50) {
        break;
      }
      total += 1;
    }
  }
  if (total >= kShortStream) state_.skipFileSize = true;
  return total;
}

std::uint64_t MpgFileCheck::sequenceStreamSize(FileWindow& window) {
  const std::uint64_t width = window.be16At(4) >> 4;
  const std::uint64_t height = window.be16At(5) & 0xFFF;
  const std::uint64_t gapLimit = height * width * 3 + 2ull * bytesInSector();
  std::uint64_t total = 4;
  if (gapLimit == 0) return total;
  bool afterSequenceEnd = false;
  for (;;) {
    if (window.cancelled() || window.failed()) break;
    if (afterSequenceEnd) {
      if (!mayFollowSequenceEnd(window.be32At(total))) break;
      afterSequenceEnd = false;
    }
    bool found = false;
    std::uint64_t lastData = 0;  // distance of the last non-zero byte seen in this search
    for (std::uint64_t distance = 0; distance < gapLimit; ++distance) {
      const std::uint32_t word = window.be32At(total + distance);
      if (window.failed()) break;
      if (window.byteAt(total + distance) != 0) lastData = distance + 1;
      if (!isVideoStartCode(word)) continue;
      total += distance + 4;
      afterSequenceEnd = word == kSequenceEnd;
      found = true;
      break;
    }
    if (total >= 0xFFFFFFF1) {
      state_.skipFileSize = true;
      return 0;
    }
    if (!found) {
      // A stream without a sequence end stops at its last start code; the picture data behind that
      // code is the user's too, so the size runs to the last data byte before the gap.
      if (!afterSequenceEnd) total += lastData;
      break;
    }
  }
  if (total >= kShortStream) state_.skipFileSize = true;
  return total;
}

}  // namespace nua
