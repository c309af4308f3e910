#include "signature/signature_tables.h"

#include <algorithm>

namespace nua {

std::uint64_t headerKeyAt(ByteSpan bytes, std::size_t offset, std::uint8_t headerLength) {
  std::uint64_t key = 0;
  for (std::size_t i = 0; i < headerLength; ++i) {
    const std::size_t at = offset + i;
    key = (key << 8U) | (at < bytes.size() ? u8(bytes, at) : 0U);
  }
  return key;
}

void FlatHeaderIndex::build(const SignatureTable& table, std::uint8_t headerLength) {
  headerLength_ = headerLength;
  firstByteMask_ = {};
  keys_.clear();
  sigs_.clear();
  // The in-order walk yields the keys ascending, each with the row that won its key.
  table.forEachItemInOrder([&](const SignatureItem& item) {
    keys_.push_back(item.keyField);
    sigs_.push_back(item.sig);
    const std::uint8_t first = firstByteOf(item.keyField);
    firstByteMask_[first / 64U] |= std::uint64_t{1} << (first % 64U);
  });
}

Sig* FlatHeaderIndex::find(std::uint64_t key) const {
  const std::uint8_t first = firstByteOf(key);
  if ((firstByteMask_[first / 64U] & (std::uint64_t{1} << (first % 64U))) == 0) return nullptr;
  const auto it = std::lower_bound(keys_.begin(), keys_.end(), key);
  if (it == keys_.end() || *it != key) return nullptr;
  return sigs_[static_cast<std::size_t>(it - keys_.begin())];
}

void SignatureTables::populate(const std::vector<const Sig*>& rows) {
  for (const Sig* source : rows) {
    if (source == nullptr || source->headerLength > 8) continue;
    Sig& row = rows_.emplace_back(source->mutableCopy());
    auto group = std::find_if(groups_.begin(), groups_.end(), [&](const SignatureTableGroup& g) {
      return g.offset == row.offset && g.headerLength == row.headerLength;
    });
    if (group == groups_.end()) {
      SignatureTableGroup fresh;
      fresh.offset = row.offset;
      fresh.headerLength = row.headerLength;
      fresh.table = std::make_unique<SignatureTable>();
      groups_.push_back(std::move(fresh));
      group = groups_.end() - 1;
    }
    group->table->insert({row.header, &row});
  }
  for (SignatureTableGroup& group : groups_) group.index.build(*group.table, group.headerLength);
}

void SignatureTables::clear() {
  groups_.clear();
  rows_.clear();
}

}  // namespace nua
