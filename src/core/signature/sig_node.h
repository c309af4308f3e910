// A node of the signature catalog tree: a category holding file types, or a file type holding its row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "signature/sig.h"

namespace nua {

struct SigNode {
  static constexpr std::uint16_t kCategoryNode = 1;
  static constexpr std::uint16_t kFileTypeNode = 2;

  std::uint16_t fileTypeSigNode = 0;  // kCategoryNode or kFileTypeNode
  // The file types of a category. Absent (not empty) on a file-type node: that is how a leaf is told.
  std::optional<std::vector<std::shared_ptr<SigNode>>> children;
  std::uint8_t selected = 0;
  std::string category;
  std::shared_ptr<Sig> sig;           // on file-type nodes; null on category nodes
  SigNode* parent = nullptr;          // set after loading; null on category nodes
  bool containsPreInstalledChildren = false;

  // Appends a child, creating the children array on first use. The child's parent is the caller's.
  void addChild(std::shared_ptr<SigNode> child);

  // Selected children: 1 for each selected child, then every node below each child that has
  // children. With the catalog's two levels that is the number of selected file types.
  [[nodiscard]] std::size_t childrenSelected() const;
  // All nodes below this one.
  [[nodiscard]] std::size_t childrenCount() const;

  // A copy of category, fileTypeSigNode and selected that shares children, sig and parent.
  [[nodiscard]] std::shared_ptr<SigNode> mutableCopy() const;
};

// Counting helpers behind childrenSelected and childrenCount; they add to `counter`.
void countChildrenSelectedInArray(const std::vector<std::shared_ptr<SigNode>>& array, std::size_t& counter);
void countChildrenInArray(const std::vector<std::shared_ptr<SigNode>>& array, std::size_t& counter);

}  // namespace nua
