// The signature table: signature rows by their leading header bytes. A second row with a key already
// present is merged into the stored row's extraExts instead of being dropped.
#pragma once

#include <cstdint>

#include "signature/sig.h"
#include "records/key_table.h"

namespace nua {

struct SignatureItem {
  std::uint64_t keyField = 0;
  Sig* sig = nullptr;  // the catalog owns the row
};

// On a key match during insert, an incoming row is copied into the stored row's extraExts.
// Lookups never merge.
struct SigMergePolicy : PlainTablePolicy {
  static void keyMatchedOnInsert(SignatureItem& stored, const SignatureItem& incoming) {
    if (incoming.sig != nullptr && stored.sig != nullptr) stored.sig->addToExtraExts(*incoming.sig);
  }
};

class SignatureTable final : public KeyTable<SignatureItem, SigMergePolicy> {};
using SignatureTableNode = SignatureTable::Node;

}  // namespace nua
