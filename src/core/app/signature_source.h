// The signature catalog the wizard shows on "Signatures": loaded from the goal's data file in the
// user's data directory (copied there from the installed files on first use).
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "base/ui_bridge.h"
#include "signature/sig_node.h"

namespace nua {

// A `loadSigData` for MediaSources: each call reads the scan mode's main file afresh. Damage leaves the
// list empty and the catalog's own alert goes through `ui`.
[[nodiscard]] std::function<std::vector<std::shared_ptr<SigNode>>(int scanMode)> signatureCatalogSource(UiBridge& ui);

}  // namespace nua
