// Loading, counting, marking and finding in the signature catalog.
#include "signature/signature_catalog.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "signature/check_controller_sig.h"

namespace nua {
namespace {

bool containsIgnoringCase(std::string_view haystack, std::string_view needle) {
  // An empty search text matches nothing, as an empty range search finds nothing.
  if (needle.empty() || needle.size() > haystack.size()) return false;
  const auto lower = [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); };
  const auto hit = std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end(),
                               [&](char a, char b) { return lower(a) == lower(b); });
  return hit != haystack.end();
}

bool nodeMatches(const SigNode& leaf, std::string_view text) {
  if (!leaf.sig) return false;
  const Sig& sig = *leaf.sig;
  if (containsIgnoringCase(sig.software, text) || containsIgnoringCase(sig.category, text) ||
      containsIgnoringCase(sig.extension, text)) {
    return true;
  }
  return std::any_of(sig.arrayExtNameVariations.begin(), sig.arrayExtNameVariations.end(),
                     [&](const std::string& name) { return containsIgnoringCase(name, text); });
}

// Leaves are tested, other nodes recurse in order.
void findStringInSigNode(std::string_view text, const std::shared_ptr<SigNode>& node,
                         std::vector<std::shared_ptr<SigNode>>& found, int depth) {
  if (!node->children) {
    if (nodeMatches(*node, text)) found.push_back(node);
    return;
  }
  if (depth > 32) return;
  for (const auto& child : *node->children) findStringInSigNode(text, child, found, depth + 1);
}

}  // namespace

SignatureCatalog::SignatureCatalog(SigDataStore& store, UiBridge& ui) : store_(store), ui_(ui) {
  emptySigNode.fileTypeSigNode = SigNode::kCategoryNode;
  emptySigNode.category = "No file types shown here? Click on \"Load File Types\" button";
}

void SignatureCatalog::prepareForSignatureSearch() {
  sigDataLoadCount = 0;
  loadSigData();
  deselectAllSig();
}

void SignatureCatalog::loadSigData() {
  sigRootArray.clear();
  // Nodes of the catalog being replaced must not stay reachable: their parent links die with it.
  sigSelArray.clear();
  arrayFTFound.clear();
  selectedFoundRow = nullptr;
  lastLoadReason.clear();
  const auto name = sigDataLoadCount <= 1 ? SigDataStore::mainFileName(scanMode) : SigDataStore::backupFileName(scanMode);
  if (name) {
    auto loaded = store_.read(*name);
    if (loaded.ok()) {
      sigRootArray = std::move(*loaded.root);
    } else {
      lastLoadReason = loaded.reason;
    }
  } else {
    lastLoadReason = "no signature data file for scan mode " + std::to_string(scanMode);
  }
  for (auto& category : sigRootArray) {
    if (!category->children) continue;
    for (auto& child : *category->children) {
      child->parent = category.get();
      if (child->sig && child->sig->preInstalled) category->containsPreInstalledChildren = true;
    }
  }
  const bool present = !sigRootArray.empty();
  buttons = SigButtons{present, present, present, present, present, !present};
  countSig();
}

void SignatureCatalog::reloadSigData() {
  ++sigDataLoadCount;
  loadSigData();
  showReloadOutcome();
}

void SignatureCatalog::showReloadOutcome() {
  if (!sigRootArray.empty()) {
    buttons.loadFileTypes = false;
  } else if (sigDataLoadCount == 1) {
    emptySigNode.category =
        "Still no file types showing here. Click on \"Load File Types\" button to reload backup.";
  } else {
    emptySigNode.category = "Still no file types showing here. Contact support.";
  }
}

void SignatureCatalog::countSig() {
  std::int32_t marked = 0;
  std::int32_t unmarked = 0;
  for (const auto& category : sigRootArray) {
    if (!category->children) continue;
    for (const auto& child : *category->children) (child->selected == 1 ? marked : unmarked) += 1;
  }
  char text[96];
  counts.marked = marked;
  counts.unmarked = unmarked;
  counts.categories = sigRootArray.size();
  std::snprintf(text, sizeof text, "Marked: %d, Unmarked: %d", marked, unmarked);
  counts.markedText = text;
  std::snprintf(text, sizeof text, "Total Signatures: %d", marked + unmarked);
  counts.totalText = text;
  std::snprintf(text, sizeof text, "Total Categories: %ld", static_cast<long>(sigRootArray.size()));
  counts.categoriesText = text;
  findFTStatusText.clear();
}

float SignatureCatalog::speedBarMarkedWidth(float width) const {
  const std::int32_t total = counts.marked + counts.unmarked;
  // With no file types the quotient is not a number; nothing of the gradient shows.
  if (total <= 0) return 0.0f;
  const auto x = static_cast<float>(static_cast<double>(width) / total) * static_cast<float>(counts.marked);
  return std::isfinite(x) ? x : 0.0f;
}

void SignatureCatalog::markClicked(SigNode& item, int value) {
  CheckControllerSig(item, value).run();
  const bool documentsRow = item.category == "Documents" && value == 1 &&
                            (!item.sig || item.sig->extension.empty() || item.sig->extension == "rtf");
  if (documentsRow) {
    for (auto& category : sigRootArray) {
      if (category->category == "Images") CheckControllerSig(*category, 1).run();
    }
  }
  gatherSigSelArray();
  nextButtonSigTab = !sigSelArray.empty();
  countSig();
}

void SignatureCatalog::selectAllSig() {
  for (auto& category : sigRootArray) CheckControllerSig(*category, 1).run();
  nextButtonSigTab = true;
  countSig();
  findFTStatusText = "All marked";
}

void SignatureCatalog::deselectAllSig() {
  for (auto& category : sigRootArray) CheckControllerSig(*category, 0).run();
  nextButtonSigTab = false;
  countSig();
  findFTStatusText = "All unmarked";
}

void SignatureCatalog::gatherSigSelArray() {
  sigSelArray.clear();
  for (const auto& category : sigRootArray) {
    if (!category->children) continue;
    for (const auto& child : *category->children) {
      if (child->selected == 1) sigSelArray.push_back(child);
    }
  }
}

void SignatureCatalog::rebuildSigSelArray(const std::vector<std::string>& extensions) {
  sigSelArray.clear();
  for (const auto& category : sigRootArray) {
    if (!category->children) continue;
    for (const auto& child : *category->children) {
      if (!child->sig) continue;
      const auto hit = std::find(extensions.begin(), extensions.end(), child->sig->extension);
      if (hit != extensions.end()) sigSelArray.push_back(child);
    }
  }
}

void SignatureCatalog::findFileTypes(std::string_view text) {
  indexFT = 0;
  stepperFTEnabled = true;
  selectedFoundRow = nullptr;
  arrayFTFound.clear();
  for (const auto& category : sigRootArray) findStringInSigNode(text, category, arrayFTFound, 0);
  if (arrayFTFound.empty()) {
    findFTStatusText = "No entry found";
    stepperFTEnabled = false;
    return;
  }
  stepperFTMaximum = static_cast<std::int64_t>(arrayFTFound.size()) - 1;
  for (auto& node : arrayFTFound) CheckControllerSig(*node, 1).run();  // selectFoundSig
  nextButtonSigTab = true;
  countSig();
  if (arrayFTFound.size() == 1) {
    findFTStatusText = "1 entry found and marked";
  } else {
    char text2[64];
    std::snprintf(text2, sizeof text2, "%ld entries found and marked", static_cast<long>(arrayFTFound.size()));
    findFTStatusText = text2;
  }
  stepperFTClicked(0.0);
}

void SignatureCatalog::stepperFTClicked(double stepperValue) {
  if (!std::isfinite(stepperValue)) return;
  indexFT = static_cast<std::int64_t>(std::trunc(std::clamp(stepperValue, -1.0, 1e15)));
  if (indexFT >= 0 && indexFT < static_cast<std::int64_t>(arrayFTFound.size())) {
    selectedFoundRow = arrayFTFound[static_cast<std::size_t>(indexFT)].get();
  }
}

std::uint64_t SignatureCatalog::sizeColumnValue(const SigNode& node) {
  if (!node.sig || node.children) return 0;
  return node.sig->userSize != 0 ? node.sig->userSize : node.sig->defaultSize;
}

int SignatureCatalog::markColumnValue(const SigNode& node) {
  if (!node.children) return node.selected;
  std::size_t selected = 0;
  for (const auto& child : *node.children) selected += child->selected == 1 ? 1 : 0;
  if (selected == 0) return 0;
  return selected == node.children->size() ? 1 : -1;
}

}  // namespace nua
