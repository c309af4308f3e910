// Encoding and decoding of the signature data files' objects.
#include "signature/sig_archive.h"

#include <utility>

namespace nua {
namespace {

constexpr std::size_t kMaxNodeDepth = 8;  // the catalog has two levels; anything far deeper is damage

bool takeInteger(const KeyedObject& object, const char* key, std::uint64_t& out, std::string& reason) {
  const KeyedValue* value = object.find(key);
  if (value == nullptr) return true;
  if (!value->isInteger() && value->kind() != KeyedKind::kBool) {
    reason = std::string(object.className()) + ": key \"" + key + "\" is not a number";
    return false;
  }
  out = value->asUnsigned();
  return true;
}

bool takeString(const KeyedObject& object, const char* key, std::string& out, std::string& reason) {
  const KeyedValue* value = object.find(key);
  if (value == nullptr || value->isNull()) return true;
  if (value->kind() != KeyedKind::kString) {
    reason = std::string(object.className()) + ": key \"" + key + "\" is not a string";
    return false;
  }
  out = value->asString();
  return true;
}

std::optional<std::shared_ptr<SigNode>> decodeNode(const KeyedValue& value, std::size_t depth, std::string& reason) {
  const KeyedObject* object = value.asObject();
  if (object == nullptr || object->className() != "SigNode") {
    reason = "SigNode: an element of the node array is not a \"SigNode\" object";
    return std::nullopt;
  }
  if (depth > kMaxNodeDepth) {
    reason = "SigNode: children nested deeper than 8 levels";
    return std::nullopt;
  }
  auto node = std::make_shared<SigNode>();
  std::uint64_t fileType = 0;
  std::uint64_t selected = 0;
  if (!takeInteger(*object, "fileType", fileType, reason) || !takeInteger(*object, "selected", selected, reason) ||
      !takeString(*object, "category", node->category, reason)) {
    return std::nullopt;
  }
  node->fileTypeSigNode = static_cast<std::uint16_t>(fileType);
  node->selected = static_cast<std::uint8_t>(selected);
  if (const KeyedValue* sigValue = object->find("sig"); sigValue != nullptr && !sigValue->isNull()) {
    if (sigValue->asObject() == nullptr) {
      reason = "SigNode: key \"sig\" is not an object";
      return std::nullopt;
    }
    auto sig = decodeSig(*sigValue->asObject(), reason);
    if (!sig) return std::nullopt;
    node->sig = std::make_shared<Sig>(std::move(*sig));
  }
  if (const KeyedValue* children = object->find("children"); children != nullptr && !children->isNull()) {
    if (children->kind() != KeyedKind::kArray) {
      reason = "SigNode: key \"children\" is not an array";
      return std::nullopt;
    }
    node->children.emplace();
    for (const auto& item : children->asArray()) {
      auto child = decodeNode(item, depth + 1, reason);
      if (!child) return std::nullopt;
      node->children->push_back(std::move(*child));
    }
  }
  return node;
}

}  // namespace

KeyedObject encodeSig(const Sig& sig) {
  KeyedObject object("Sig");
  object.set("preInstalled", KeyedValue::boolean(sig.preInstalled));
  object.set("skipFileSize", KeyedValue::boolean(sig.skipFileSize));
  object.set("categoryID", KeyedValue::int32(sig.categoryID));
  object.set("category", KeyedValue::string(sig.category));
  object.set("typeOfFile", KeyedValue::int32(static_cast<std::int32_t>(sig.typeOfFile)));
  object.set("software", KeyedValue::string(sig.software));
  object.set("extension", KeyedValue::string(sig.extension));
  object.set("offset", KeyedValue::int32(sig.offset));
  object.set("headerLength", KeyedValue::int32(sig.headerLength));
  object.set("header", KeyedValue::int64(static_cast<std::int64_t>(sig.header)));
  object.set("defaultSize", KeyedValue::int32(static_cast<std::int32_t>(sig.defaultSize)));
  object.set("userSize", KeyedValue::int64(static_cast<std::int64_t>(sig.userSize)));
  object.set("foundSize", KeyedValue::int64(static_cast<std::int64_t>(sig.foundSize)));
  object.set("skipSize", KeyedValue::int64(static_cast<std::int64_t>(sig.skipSize)));
  return object;
}

std::optional<Sig> decodeSig(const KeyedObject& object, std::string& reason) {
  if (object.className() != "Sig") {
    reason = "Sig: object of class \"" + object.className() + "\" where a \"Sig\" belongs";
    return std::nullopt;
  }
  Sig sig;
  std::uint64_t preInstalled = 0, skipFileSize = 0, categoryID = 0, typeOfFile = 0, offset = 0, headerLength = 0;
  std::uint64_t defaultSize = 0;
  const bool ok = takeInteger(object, "preInstalled", preInstalled, reason) &&
                  takeInteger(object, "skipFileSize", skipFileSize, reason) &&
                  takeInteger(object, "categoryID", categoryID, reason) &&
                  takeString(object, "category", sig.category, reason) &&
                  takeInteger(object, "typeOfFile", typeOfFile, reason) &&
                  takeString(object, "software", sig.software, reason) &&
                  takeString(object, "extension", sig.extension, reason) &&
                  takeInteger(object, "offset", offset, reason) &&
                  takeInteger(object, "headerLength", headerLength, reason) &&
                  takeInteger(object, "header", sig.header, reason) &&
                  takeInteger(object, "defaultSize", defaultSize, reason) &&
                  takeInteger(object, "userSize", sig.userSize, reason) &&
                  takeInteger(object, "foundSize", sig.foundSize, reason) &&
                  takeInteger(object, "skipSize", sig.skipSize, reason);
  if (!ok) return std::nullopt;
  sig.preInstalled = (preInstalled & 0xFF) != 0;
  sig.skipFileSize = (skipFileSize & 0xFF) != 0;
  sig.categoryID = static_cast<std::uint8_t>(categoryID);
  sig.typeOfFile = static_cast<std::uint32_t>(typeOfFile);
  sig.offset = static_cast<std::uint16_t>(offset);
  sig.headerLength = static_cast<std::uint8_t>(headerLength);
  sig.defaultSize = static_cast<std::uint32_t>(defaultSize);
  return sig;
}

KeyedObject encodeSigNode(const SigNode& node) {
  KeyedObject object("SigNode");
  object.set("fileType", KeyedValue::int32(node.fileTypeSigNode));
  if (node.children) {
    std::vector<KeyedValue> children;
    children.reserve(node.children->size());
    for (const auto& child : *node.children) children.push_back(KeyedValue::object(encodeSigNode(*child)));
    object.set("children", KeyedValue::array(std::move(children)));
  }
  object.set("selected", KeyedValue::int32(node.selected));
  object.set("category", KeyedValue::string(node.category));
  if (node.sig) object.set("sig", KeyedValue::object(encodeSig(*node.sig)));
  return object;
}

std::vector<std::byte> encodeSigRootArray(const SigRootArray& root) {
  std::vector<KeyedValue> nodes;
  nodes.reserve(root.size());
  for (const auto& node : root) nodes.push_back(KeyedValue::object(encodeSigNode(*node)));
  return writeKeyedArchive(KeyedArchive{kSigDataContentVersion, KeyedValue::array(std::move(nodes))});
}

SigRootResult decodeSigRootArray(ByteSpan bytes) {
  auto archive = readKeyedArchive(bytes);
  if (!archive.ok()) return {std::nullopt, archive.reason};
  const KeyedValue& root = archive.archive->root;
  if (root.kind() != KeyedKind::kArray) return {std::nullopt, "signature data: the root value is not an array"};
  SigRootArray nodes;
  std::string reason;
  for (const auto& item : root.asArray()) {
    auto node = decodeNode(item, 0, reason);
    if (!node) return {std::nullopt, reason};
    nodes.push_back(std::move(*node));
  }
  return {std::move(nodes), {}};
}

}  // namespace nua
