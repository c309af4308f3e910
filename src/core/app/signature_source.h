// The signature catalog the wizard shows on "Signatures": loaded from the goal's data file in the
// user's data directory (copied there from the installed files on first use).
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "base/ui_bridge.h"
#include "signature/sig_data_store.h"
#include "signature/sig_node.h"
#include "signature/signature_catalog.h"

namespace nua {

// A `loadSigData` for MediaSources: each call reads the scan mode's main file afresh. Damage leaves the
// list empty and the catalog's own alert goes through `ui`.
[[nodiscard]] std::function<std::vector<std::shared_ptr<SigNode>>(int scanMode)> signatureCatalogSource(UiBridge& ui);

// A goal's catalog in the user's data directory, for listing it and for adding or removing custom file
// types outside the wizard, through the same operations the "Signatures" screen uses.
class UserSignatureCatalog {
 public:
  UserSignatureCatalog(UiBridge& ui, int scanMode);
  UserSignatureCatalog(const UserSignatureCatalog&) = delete;
  UserSignatureCatalog& operator=(const UserSignatureCatalog&) = delete;
  [[nodiscard]] SignatureCatalog& catalog() { return catalog_; }

 private:
  SigDataStore store_;
  SignatureCatalog catalog_;
};

}  // namespace nua
