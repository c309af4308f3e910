// Signature rows and catalog nodes as keyed-archive objects: the contract of the signature data
// files. Classes "Sig" and "SigNode"; the root is an array of category nodes.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "archive/keyed_archive.h"
#include "signature/sig.h"
#include "signature/sig_node.h"

namespace nua {

using SigRootArray = std::vector<std::shared_ptr<SigNode>>;

// Content version written into every signature data file.
inline constexpr std::uint32_t kSigDataContentVersion = 1;

// The 14 stored fields under their keys; categoryID, offset and headerLength as plain (32-bit) ints,
// typeOfFile and defaultSize as 32-bit ints, the other numbers as 64-bit ints.
[[nodiscard]] KeyedObject encodeSig(const Sig& sig);
// Reads a "Sig" object; numbers are masked to their field's width. Absent keys keep their defaults;
// a key of the wrong kind or a wrong class name gives a reason.
[[nodiscard]] std::optional<Sig> decodeSig(const KeyedObject& object, std::string& reason);

[[nodiscard]] KeyedObject encodeSigNode(const SigNode& node);

// The whole data file: archive bytes of the root array.
[[nodiscard]] std::vector<std::byte> encodeSigRootArray(const SigRootArray& root);

struct [[nodiscard]] SigRootResult {
  std::optional<SigRootArray> root;
  std::string reason;
  [[nodiscard]] bool ok() const { return root.has_value(); }
};

// Decodes a data file. Damaged input gives a reason and no nodes, never an exception.
// `parent` is not part of the file; callers set it after loading.
[[nodiscard]] SigRootResult decodeSigRootArray(ByteSpan bytes);

}  // namespace nua
