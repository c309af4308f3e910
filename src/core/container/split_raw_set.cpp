#include "container/split_raw_set.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace nua {
namespace {

// More pieces than any acquisition tool writes; a bound on the directory walk, not a format limit.
constexpr std::uint32_t kMaxSegments = 100000;

bool allDigits(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The counter of `name` when it has `naming`'s form, else nullopt.
std::optional<std::uint32_t> counterOf(const SplitRawNaming& naming, const std::string& name) {
  if (name.size() != naming.prefix.size() + naming.width || name.compare(0, naming.prefix.size(), naming.prefix) != 0)
    return std::nullopt;
  const std::string counter = name.substr(naming.prefix.size());
  std::uint32_t value = 0;
  if (naming.alphabetic) {
    for (char c : counter) {
      if (c < 'a' || c > 'z') return std::nullopt;
      value = value * 26 + static_cast<std::uint32_t>(c - 'a');
    }
  } else {
    if (!allDigits(counter) || counter.size() > 9) return std::nullopt;
    value = static_cast<std::uint32_t>(std::stoul(counter));
  }
  return value;
}

}  // namespace

std::optional<SplitRawNaming> splitRawNamingOf(const std::string& path) {
  const std::size_t dot = path.rfind('.');
  const std::size_t slash = path.rfind('/');
  const bool dotInName = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  if (dotInName) {
    const std::string counter = path.substr(dot + 1);
    if (counter.size() >= 3 && counter.size() <= 9 && allDigits(counter)) {
      const std::uint32_t value = static_cast<std::uint32_t>(std::stoul(counter));
      if (value <= 1) return SplitRawNaming{path.substr(0, dot + 1), false, counter.size(), value};
    }
  }
  const std::size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
  if (path.size() >= nameStart + 3 && path.compare(path.size() - 2, 2, "aa") == 0)
    return SplitRawNaming{path.substr(0, path.size() - 2), true, 2, 0};
  return std::nullopt;
}

std::string splitRawSegmentName(const SplitRawNaming& naming, std::uint32_t index) {
  std::uint64_t value = static_cast<std::uint64_t>(naming.firstIndex) + index;
  std::string counter(naming.width, '0');
  const std::uint64_t base = naming.alphabetic ? 26 : 10;
  for (std::size_t i = naming.width; i-- > 0;) {
    counter[i] = static_cast<char>((naming.alphabetic ? 'a' : '0') + value % base);
    value /= base;
  }
  if (value != 0) return "";
  return naming.prefix + counter;
}

std::unique_ptr<SplitRawSet> SplitRawSet::open(const std::string& firstPath, int& errorNumber, std::string& problem) {
  errorNumber = 0;
  problem.clear();
  const auto naming = splitRawNamingOf(firstPath);
  if (!naming) return nullptr;
  std::error_code error;
  if (!std::filesystem::exists(splitRawSegmentName(*naming, 1), error)) return nullptr;

  auto set = std::unique_ptr<SplitRawSet>(new SplitRawSet());
  std::uint32_t index = 0;
  for (; index < kMaxSegments; ++index) {
    const std::string name = splitRawSegmentName(*naming, index);
    if (name.empty() || !std::filesystem::exists(name, error)) break;
    auto segment = RawFile::open(name, errorNumber);
    if (!segment) {
      problem = "segment " + name + " cannot be opened";
      return nullptr;
    }
    set->segments_.push_back(std::move(segment));
  }
  // A later piece beyond the first gap means one in the middle is missing, not the end of the set.
  const std::filesystem::path folder = std::filesystem::path(firstPath).parent_path();
  for (const auto& entry : std::filesystem::directory_iterator(folder.empty() ? "." : folder, error)) {
    const std::string name = (folder.empty() ? entry.path().filename() : entry.path()).string();
    const auto counter = counterOf(*naming, name);
    if (counter && *counter > naming->firstIndex + index) {
      problem = "missing segment " + splitRawSegmentName(*naming, index);
      errorNumber = ENOENT;
      return nullptr;
    }
  }
  const std::uint64_t pieceSize = set->segments_.front()->sizeInBytes();
  for (std::size_t i = 0; i < set->segments_.size(); ++i) {
    const RawFile& segment = *set->segments_[i];
    const bool last = i + 1 == set->segments_.size();
    if (segment.sizeInBytes() == 0 || (!last && segment.sizeInBytes() != pieceSize)) {
      problem = "segment " + segment.path() + " is " + std::to_string(segment.sizeInBytes()) +
                " bytes, not the " + std::to_string(pieceSize) + " of the first segment";
      errorNumber = EIO;
      return nullptr;
    }
    set->segmentStarts_.push_back(set->sizeInBytes_);
    set->sizeInBytes_ += segment.sizeInBytes();
  }
  return set;
}

ReadOutcome SplitRawSet::readAt(std::uint64_t byteOffset, std::span<std::byte> buffer, int& errorNumber) const {
  errorNumber = 0;
  std::size_t done = 0;
  while (done < buffer.size()) {
    const std::uint64_t position = byteOffset + done;
    if (position < byteOffset || position >= sizeInBytes_) return ReadOutcome::kShortAtEnd;
    const auto after = std::upper_bound(segmentStarts_.begin(), segmentStarts_.end(), position);
    const std::size_t index = static_cast<std::size_t>(after - segmentStarts_.begin()) - 1;
    const RawFile& segment = *segments_[index];
    const std::uint64_t within = position - segmentStarts_[index];
    const std::uint64_t left = segment.sizeInBytes() - within;
    const std::size_t length = static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer.size() - done));
    const ReadOutcome outcome = segment.readAt(within, buffer.subspan(done, length), errorNumber);
    if (outcome == ReadOutcome::kFailed) return outcome;
    // A piece that shrank since it was opened would leave a hole mid-image: that is a failure.
    if (outcome == ReadOutcome::kShortAtEnd) {
      errorNumber = EIO;
      return ReadOutcome::kFailed;
    }
    done += length;
  }
  return ReadOutcome::kComplete;
}

}  // namespace nua
