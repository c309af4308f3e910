// A raw image cut into numbered pieces (NAME.001, NAME.002, … or NAME.000, … or NAMEaa, NAMEab, …),
// joined in order into one run of bytes when the first piece is named.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "container/raw_file.h"

namespace nua {

// How the pieces of a set are named, told from the first piece's name.
struct SplitRawNaming {
  std::string prefix;        // everything before the counter ("disk." or "disk")
  bool alphabetic = false;   // "aa", "ab", … instead of digits
  std::size_t width = 0;     // characters in the counter
  std::uint32_t firstIndex = 0;
};

// The naming of `path` when it names the first piece of a set; nullopt for any other name.
[[nodiscard]] std::optional<SplitRawNaming> splitRawNamingOf(const std::string& path);
// The name of the piece `index` places after the first; empty when the counter runs out.
[[nodiscard]] std::string splitRawSegmentName(const SplitRawNaming& naming, std::uint32_t index);

class SplitRawSet final : public ImageContainer {
 public:
  // Opens the pieces that follow `firstPath` in order. A gap before a later piece, or a piece other
  // than the last that is not as long as the first, is an error naming that piece. A first piece
  // with no successor gives nullptr and no problem: it is a plain raw image.
  [[nodiscard]] static std::unique_ptr<SplitRawSet> open(const std::string& firstPath, int& errorNumber,
                                                         std::string& problem);

  [[nodiscard]] ContainerKind kind() const override { return ContainerKind::kSplitRaw; }
  [[nodiscard]] std::uint64_t sizeInBytes() const override { return sizeInBytes_; }
  [[nodiscard]] ReadOutcome readAt(std::uint64_t byteOffset, std::span<std::byte> buffer,
                                   int& errorNumber) const override;
  [[nodiscard]] std::size_t segmentCount() const { return segments_.size(); }

 private:
  std::vector<std::unique_ptr<RawFile>> segments_;
  std::vector<std::uint64_t> segmentStarts_;
  std::uint64_t sizeInBytes_ = 0;
};

}  // namespace nua
