// The signature tables of one search: one key table per distinct pair of header offset and header
// length, in order of first appearance, each with a flat copy that answers the per-sector lookup
// without walking nodes or allocating.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "base/bytes.h"
#include "signature/sig.h"
#include "signature/signature_table.h"

namespace nua {

// The `headerLength` bytes at `offset` of `bytes` as one big-endian number; bytes past the span's end
// count as zero, so a header near the end of a buffer never reads outside it. A length of 0 gives 0.
[[nodiscard]] std::uint64_t headerKeyAt(ByteSpan bytes, std::size_t offset, std::uint8_t headerLength);

// Sorted keys of one signature table behind a mask of the keys' first bytes: most sectors are turned
// away by one bit test, the rest by a binary search. Answers exactly what the key table answers.
class FlatHeaderIndex {
 public:
  void build(const SignatureTable& table, std::uint8_t headerLength);
  // The row stored under `key` (with its extraExts), or null.
  [[nodiscard]] Sig* find(std::uint64_t key) const;
  [[nodiscard]] std::size_t size() const { return keys_.size(); }

 private:
  [[nodiscard]] std::uint8_t firstByteOf(std::uint64_t key) const {
    return headerLength_ == 0 ? 0 : static_cast<std::uint8_t>(key >> (8U * (headerLength_ - 1U)));
  }
  std::array<std::uint64_t, 4> firstByteMask_{};
  std::vector<std::uint64_t> keys_;
  std::vector<Sig*> sigs_;
  std::uint8_t headerLength_ = 0;
};

struct SignatureTableGroup {
  std::uint16_t offset = 0;       // "Signature Offset"
  std::uint8_t headerLength = 0;  // "Signature Header Length"
  std::unique_ptr<SignatureTable> table;  // "Signature BTree"
  FlatHeaderIndex index;
};

class SignatureTables {
 public:
  // populateBTreeSigArray: the rows in order, each into the table of its offset and length; a row
  // whose header is already there joins the stored row's extraExts. The tables keep their own copies
  // of the rows, so checks may write the scratch fields without touching the catalog. Rows with a
  // header length above 8 cannot be keyed and are left out.
  void populate(const std::vector<const Sig*>& rows);
  void clear();

  [[nodiscard]] const std::vector<SignatureTableGroup>& groups() const { return groups_; }
  [[nodiscard]] bool empty() const { return groups_.empty(); }

 private:
  std::deque<Sig> rows_;  // stable addresses for the tables' items
  std::vector<SignatureTableGroup> groups_;
};

}  // namespace nua
