// An EnCase evidence set (.E01, .E02, … or .Ex01, …) read through libewf, named by its first segment.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "container/image_container.h"

namespace nua {

// What the examiner recorded at acquisition; empty texts where the set holds none.
struct EwfAcquiryFields {
  std::string caseNumber;
  std::string examinerName;
  std::string acquiryDate;
  std::string storedMd5;  // lowercase hex, empty when the set holds no MD5
};

// True when the file at `path` begins with an EWF segment signature.
[[nodiscard]] bool hasEwfSignature(const std::string& path);

class EwfEvidenceSet final : public ImageContainer {
 public:
  // Finds the set's segments from the first and opens them read-only. A missing or damaged segment
  // gives nullptr and `problem` in libewf's words.
  [[nodiscard]] static std::unique_ptr<EwfEvidenceSet> open(const std::string& firstPath, int& errorNumber,
                                                            std::string& problem);
  ~EwfEvidenceSet() override;
  EwfEvidenceSet(const EwfEvidenceSet&) = delete;
  EwfEvidenceSet& operator=(const EwfEvidenceSet&) = delete;

  [[nodiscard]] ContainerKind kind() const override { return ContainerKind::kEwf; }
  [[nodiscard]] std::uint64_t sizeInBytes() const override { return sizeInBytes_; }
  // A chunk that fails its checksum or lies in a truncated segment is a failed read, never zeros.
  [[nodiscard]] ReadOutcome readAt(std::uint64_t byteOffset, std::span<std::byte> buffer,
                                   int& errorNumber) const override;
  [[nodiscard]] const EwfAcquiryFields& acquiryFields() const { return fields_; }
  [[nodiscard]] int segmentCount() const { return segmentCount_; }

 private:
  EwfEvidenceSet() = default;
  void* handle_ = nullptr;  // libewf_handle_t, kept opaque so that users need not include libewf
  mutable std::mutex handleMutex_;  // libewf's handle keeps one read position
  std::uint64_t sizeInBytes_ = 0;
  int segmentCount_ = 0;
  EwfAcquiryFields fields_;
};

}  // namespace nua
