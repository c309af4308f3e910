#include "app/signature_screen.h"

#include <limits>

#include "app/wizard_controller.h"

namespace nua {

std::optional<std::uint32_t> parseUserSize(std::string_view text) {
  if (text.empty() || text.size() > 10 || !stringIsNumeric(text)) return std::nullopt;
  std::uint64_t value = 0;
  for (char c : text) value = value * 10 + static_cast<std::uint64_t>(c - '0');
  if (value > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return static_cast<std::uint32_t>(value);
}

SignatureScreen::SignatureScreen(WizardController& controller, UiBridge& ui)
    : controller_(controller), catalog_(store_, ui) {}

void SignatureScreen::useDataFiles(SigDataPaths paths) {
  store_ = SigDataStore(std::move(paths));
  hasDataFiles_ = true;
}

void SignatureScreen::useStandardDataFiles() { useDataFiles(SigDataStore::standardPaths()); }

SigRootArray SignatureScreen::loadSigData(int scanMode, std::int32_t loadCount) {
  catalog_.scanMode = scanMode;
  catalog_.sigDataLoadCount = loadCount;
  if (hasDataFiles_) {
    catalog_.loadSigData();
  } else {
    const auto& source = controller_.sources_.loadSigData;
    catalog_.sigRootArray = source ? source(scanMode) : SigRootArray{};
    const bool present = !catalog_.sigRootArray.empty();
    catalog_.buttons = SigButtons{present, present, present, present, present, !present};
  }
  findStatusText_.clear();
  return catalog_.sigRootArray;
}

void SignatureScreen::reloadSigData() {
  ++controller_.sigDataLoadCount;
  controller_.loadSigData();
  syncIn();
  catalog_.showReloadOutcome();
}

void SignatureScreen::syncIn() {
  catalog_.sigRootArray = controller_.sigRootArray;
  catalog_.scanMode = controller_.scanMode;
  catalog_.sigDataLoadCount = controller_.sigDataLoadCount;
}

void SignatureScreen::syncOut() {
  controller_.sigRootArray = catalog_.sigRootArray;
  controller_.gatherSigSelArray();
  controller_.view_.setEnabled(WizardControl::kSignaturesNext, !controller_.sigSelArray.empty());
  controller_.view_.reloadTable(WizardTable::kSignatures);
}

void SignatureScreen::markClicked(SigNode& node, bool on) {
  findStatusText_.clear();
  controller_.setSigMark(node, on);
}

void SignatureScreen::selectAllSig() {
  controller_.selectAllSig();
  findStatusText_ = "All marked";
}

void SignatureScreen::deselectAllSig() {
  controller_.deselectAllSig();
  findStatusText_ = "All unmarked";
}

const SigCounts& SignatureScreen::counts() {
  syncIn();
  const std::string kept = catalog_.findFTStatusText;
  catalog_.countSig();
  catalog_.findFTStatusText = kept;
  return catalog_.counts;
}

float SignatureScreen::speedBarMarkedWidth(float width) {
  (void)counts();
  return catalog_.speedBarMarkedWidth(width);
}

SigNode* SignatureScreen::findFileTypes(std::string_view text) {
  syncIn();
  catalog_.findFileTypes(text);
  findStatusText_ = catalog_.findFTStatusText;
  SigNode* first = catalog_.selectedFoundRow;
  if (!catalog_.arrayFTFound.empty()) syncOut();
  return first;
}

SigNode* SignatureScreen::stepperFTClicked(double value) {
  catalog_.selectedFoundRow = nullptr;
  catalog_.stepperFTClicked(value);
  return catalog_.selectedFoundRow;
}

bool SignatureScreen::setUserSize(SigNode& node, std::string_view text) {
  const std::optional<std::uint32_t> size = parseUserSize(text);
  if (!size || !node.sig || node.children) return false;
  syncIn();
  catalog_.setUserSize(node, *size);
  return !catalog_.lastSaveFailed;
}

std::vector<std::string> SignatureScreen::categoryNames() const {
  std::vector<std::string> names;
  for (const auto& category : controller_.sigRootArray) names.push_back(category->category);
  return names;
}

bool SignatureScreen::addNewSigOKClicked(const NewSigFields& fields) {
  syncIn();
  if (!catalog_.addNewSigOKClicked(fields)) return false;
  findStatusText_.clear();
  syncOut();
  return true;
}

bool SignatureScreen::canRemove(const SigNode* row) const {
  return !controller_.sigRootArray.empty() && SignatureCatalog::canRemove(row);
}

void SignatureScreen::removeFileType(SigNode* row) {
  if (!canRemove(row)) return;
  syncIn();
  catalog_.removeFileType(row);
  findStatusText_.clear();
  syncOut();
}

}  // namespace nua
