// The catalog's edits: custom file types added and removed, size edits, and the saves behind them.
#include "signature/signature_catalog.h"

#include <algorithm>

#include "base/text.h"

namespace nua {
namespace {

constexpr std::uint64_t kMaxUserSize = 50000;
constexpr std::uint64_t kMaxOffset = 1024;

bool isDecimal(char c) { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) { return isDecimal(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

std::uint64_t hexValue(char c) {
  if (isDecimal(c)) return static_cast<std::uint64_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<std::uint64_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<std::uint64_t>(c - 'A' + 10);
  return 0;
}

// Decimal digits to a number that saturates instead of wrapping, so "99999999999999999999" stays large.
std::uint64_t saturatingDecimal(std::string_view text) {
  std::uint64_t value = 0;
  for (char c : text) {
    const auto digit = static_cast<std::uint64_t>(c - '0');
    if (value > (UINT64_MAX - digit) / 10) return UINT64_MAX;
    value = value * 10 + digit;
  }
  return value;
}

std::string withoutBlanks(std::string_view text) {
  std::string out;
  for (char c : text) {
    if (c != ' ' && c != '\t' && c != '\n' && c != '\r') out.push_back(c);
  }
  return out;
}

}  // namespace

bool stringIsHex(std::string_view text) { return std::all_of(text.begin(), text.end(), isHexDigit); }

bool stringIsNumeric(std::string_view text) { return std::all_of(text.begin(), text.end(), isDecimal); }

std::uint64_t getHeaderFromString(std::string_view text) {
  const std::size_t count = text.size() / 2;
  std::uint64_t header = 0;
  for (std::size_t i = 0; i < count && i < 8; ++i) {
    const std::uint64_t byte = hexValue(text[2 * i]) * 16 + hexValue(text[2 * i + 1]);
    header |= byte << (8 * (count - i - 1));
  }
  return header;
}

std::vector<std::string> SignatureCatalog::categoryNames() const {
  std::vector<std::string> names;
  for (const auto& category : sigRootArray) names.push_back(category->category);
  return names;
}

bool SignatureCatalog::showAddError(const std::string& text) {
  ui_.runAlertPanel(Alert{"!Error", text, {"OK"}});
  return false;
}

void SignatureCatalog::saveMain() {
  const auto name = SigDataStore::mainFileName(scanMode);
  lastSaveFailed = !name || !store_.write(*name, sigRootArray);
}

void SignatureCatalog::setUserSize(SigNode& node, std::uint32_t value) {
  if (!node.sig) return;
  node.sig->userSize = value;
  saveMain();
}

bool SignatureCatalog::canRemove(const SigNode* row) {
  if (row == nullptr) return false;
  if (row->sig && row->sig->preInstalled) return false;
  return !row->children || row->children->empty();
}

void SignatureCatalog::removeFileType(SigNode* row) {
  if (!canRemove(row)) return;
  const std::string category = row->category;
  const std::shared_ptr<Sig> sig = row->sig;
  for (std::size_t i = 0; i < sigRootArray.size();) {
    auto& node = sigRootArray[i];
    if (node->category != category) {
      ++i;
      continue;
    }
    if (sig) {
      if (node->children) {
        auto& children = *node->children;
        std::erase_if(children, [&](const std::shared_ptr<SigNode>& child) { return child->sig == sig; });
      }
      ++i;
    } else {
      sigRootArray.erase(sigRootArray.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }
  // The removed row may be listed for find or for the scan; it is gone from the catalog now.
  std::erase_if(arrayFTFound, [&](const std::shared_ptr<SigNode>& n) { return n.get() == row || (sig && n->sig == sig); });
  std::erase_if(sigSelArray, [&](const std::shared_ptr<SigNode>& n) { return n.get() == row || (sig && n->sig == sig); });
  selectedFoundRow = nullptr;
  saveMain();
  countSig();
}

bool SignatureCatalog::addNewSigOKClicked(const NewSigFields& f) {
  if (f.category.empty()) return showAddError("Category cannot be nil");
  if (f.software.empty()) return showAddError("File Type Name cannot be nil");
  if (f.extension.empty()) return showAddError("Extension cannot be nil");
  if (f.header.empty()) return showAddError("Signature cannot be nil");
  if (f.offset.empty()) return showAddError("Offset cannot be nil");
  const bool sizeIsNumber = !f.size.empty() && stringIsNumeric(f.size) && saturatingDecimal(f.size) <= kMaxUserSize;
  if (!sizeIsNumber) return showAddError("Maximum File Size to recover has to be in range of 1 to 50000.");
  const std::uint64_t size = saturatingDecimal(f.size);
  if (size == 0) return showAddError("Maximum File Size to recover cannot be nil");
  if (f.extension.front() == '.') return showAddError("Please remove dot \".\" from the beginning of the extension");
  const std::string hex = withoutBlanks(f.header);
  if (!stringIsHex(hex)) return showAddError("Please enter correct signature: A-F, a-f, 0-9");
  if (hex.size() % 2 != 0) return showAddError("Incorrect signature: enter even number of characters");
  if (hex.size() >= 17) return showAddError("Incorrect signature: enter only a maximum of 8 bytes");
  if (!stringIsNumeric(f.offset)) return showAddError("Please enter numeric value in offset");
  const std::uint64_t offset = saturatingDecimal(f.offset);
  if (offset > kMaxOffset) return showAddError("Offset cannot be more then 1024");
  const std::uint64_t header = getHeaderFromString(hex);
  for (const auto& category : sigRootArray) {
    if (category->category != f.category || !category->children) continue;
    for (const auto& child : *category->children) {
      if (child->sig && child->sig->software == f.software) {
        return showAddError(formatText("File Type \"%@\" under category \"%@\" already exists. Please enter different names",
                                       {f.software, f.category}));
      }
    }
  }
  for (const auto& category : sigRootArray) {
    if (!category->children) continue;
    for (const auto& child : *category->children) {
      if (child->sig && child->sig->header == header && child->sig->offset == offset) {
        return showAddError(formatText("This signature/offset pair already exists in file type \"%@\" under category \"%@\".",
                                       {child->sig->software, category->category}));
      }
    }
  }

  const auto makeLeaf = [&](SigNode* parent) {
    auto sig = std::make_shared<Sig>();
    sig->category = f.category;
    sig->extension = f.extension;
    sig->header = header;
    sig->headerLength = static_cast<std::uint8_t>(hex.size() / 2);
    sig->offset = static_cast<std::uint16_t>(offset);
    sig->preInstalled = false;
    sig->software = f.software;
    sig->typeOfFile = 0;
    sig->userSize = size;
    auto leaf = std::make_shared<SigNode>();
    leaf->fileTypeSigNode = SigNode::kFileTypeNode;
    leaf->category = f.category;
    leaf->parent = parent;
    leaf->sig = std::move(sig);
    return leaf;
  };
  bool matched = false;
  for (auto& category : sigRootArray) {
    if (category->category != f.category) continue;
    category->addChild(makeLeaf(category.get()));
    matched = true;
  }
  if (!matched) {
    auto category = std::make_shared<SigNode>();
    category->fileTypeSigNode = SigNode::kCategoryNode;
    category->category = f.category;
    category->addChild(makeLeaf(category.get()));
    sigRootArray.push_back(std::move(category));
  }
  const auto mainName = SigDataStore::mainFileName(scanMode);
  const auto backupName = SigDataStore::backupFileName(scanMode);
  const bool mainSaved = mainName && store_.write(*mainName, sigRootArray);
  const bool backupSaved = backupName && store_.write(*backupName, sigRootArray);
  lastSaveFailed = !mainSaved || !backupSaved;
  countSig();
  return true;
}

}  // namespace nua
