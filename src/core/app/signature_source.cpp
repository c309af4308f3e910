#include "app/signature_source.h"

#include "signature/sig_data_store.h"
#include "signature/signature_catalog.h"

namespace nua {

std::function<std::vector<std::shared_ptr<SigNode>>(int)> signatureCatalogSource(UiBridge& ui) {
  return [&ui](int scanMode) {
    SigDataStore store(SigDataStore::standardPaths());
    SignatureCatalog catalog(store, ui);
    catalog.scanMode = scanMode;
    catalog.loadSigData();
    return catalog.sigRootArray;
  };
}

UserSignatureCatalog::UserSignatureCatalog(UiBridge& ui, int scanMode)
    : store_(SigDataStore::standardPaths()), catalog_(store_, ui) {
  catalog_.scanMode = scanMode;
  catalog_.loadSigData();
}

}  // namespace nua
