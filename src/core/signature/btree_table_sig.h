// The signature table: signature rows by their leading header bytes. A second row with a key already
// present is merged into the stored row's extraExts instead of being dropped.
#pragma once

#include <cstdint>

#include "signature/sig.h"
#include "tree/btree_table.h"

namespace nua {

struct ItemTypeSig {
  std::uint64_t keyField = 0;
  Sig* sig = nullptr;  // the catalog owns the row
};

// On a key match during insert, an incoming row is copied into the stored row's extraExts.
// Lookups never merge.
struct SigMergePolicy : PlainTablePolicy {
  static void keyMatchedOnInsert(ItemTypeSig& stored, const ItemTypeSig& incoming) {
    if (incoming.sig != nullptr && stored.sig != nullptr) stored.sig->addToExtraExts(*incoming.sig);
  }
};

class BTreeTableClassSig final : public BTreeTable<ItemTypeSig, SigMergePolicy> {};
using NodeTypeSig = BTreeTableClassSig::Node;

}  // namespace nua
