// Parsing the master table of file types and building a catalog from it.
#include "signature/sig_master_table.h"

#include <algorithm>
#include <charconv>

namespace nua {
namespace {

std::string_view trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) text.remove_suffix(1);
  return text;
}

std::vector<std::string_view> split(std::string_view line) {
  std::vector<std::string_view> fields;
  const std::size_t most = line.size() + 1;  // one field per '|' plus the last
  for (std::size_t guard = 0; guard < most; ++guard) {
    const auto bar = line.find('|');
    fields.push_back(trim(line.substr(0, bar)));
    if (bar == std::string_view::npos) break;
    line.remove_prefix(bar + 1);
  }
  return fields;
}

template <class T>
bool number(std::string_view text, T& out) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), out);
  return error == std::errc() && end == text.data() + text.size();
}

bool hexBytes(std::string_view text, std::vector<std::uint8_t>& out) {
  std::string digits;
  for (char c : text) {
    if (c != ' ') digits.push_back(c);
  }
  if (digits.empty() || digits.size() % 2 != 0 || digits.size() > 16) return false;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    std::uint8_t byte = 0;
    const auto [end, error] = std::from_chars(digits.data() + i, digits.data() + i + 2, byte, 16);
    if (error != std::errc() || end != digits.data() + i + 2) return false;
    out.push_back(byte);
  }
  return true;
}

}  // namespace

std::uint64_t SigMasterRow::header() const {
  std::uint64_t value = 0;
  for (std::uint8_t byte : headerBytes) value = (value << 8) | byte;
  return value;
}

SigMasterTable parseSigMasterTable(std::string_view text) {
  SigMasterTable table;
  std::size_t lineNumber = 0;
  while (!text.empty()) {
    ++lineNumber;
    const auto end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    // Only whole lines are comments: definitions may quote a '#', as AMR's "#!AMR" does.
    if (trim(line).empty() || trim(line).front() == '#') continue;
    const auto fail = [&](const std::string& what) {
      table.rows.clear();
      table.reason = "line " + std::to_string(lineNumber) + ": " + what;
      return table;
    };
    const auto f = split(line);
    if (f.size() != 10) return fail("expected 10 fields separated by '|'");
    SigMasterRow row;
    row.line = lineNumber;
    row.category = f[0];
    row.software = f[1];
    row.extension = f[2];
    if (row.category.empty() || row.software.empty() || row.extension.empty()) return fail("empty name field");
    if (!number(f[3], row.offset) || row.offset > 1024) return fail("offset must be 0 to 1024");
    if (!hexBytes(f[4], row.headerBytes)) return fail("header must be 1 to 8 hex bytes");
    if (!number(f[5], row.defaultSize) || row.defaultSize == 0 || row.defaultSize > 4095) {
      return fail("default size must be 1 to 4095 MiB");
    }
    bool carried = false;
    for (std::size_t i = 0; i < 3; ++i) {
      if (f[6 + i] == "-") continue;
      std::uint32_t type = 0;
      if (!number(f[6 + i], type)) return fail("typeOfFile must be a number or '-'");
      row.typeOfFile[i] = type;
      carried = true;
    }
    if (!carried) return fail("the row is in none of the three files");
    if (f[9].empty()) return fail("the definition the header comes from is missing");
    table.rows.push_back(std::move(row));
  }
  return table;
}

SigRootArray buildSigRootArray(const SigMasterTable& table, SigDataFile file) {
  std::vector<std::string> allCategories;
  for (const auto& row : table.rows) {
    if (std::find(allCategories.begin(), allCategories.end(), row.category) == allCategories.end()) {
      allCategories.push_back(row.category);
    }
  }
  SigRootArray root;
  const auto column = static_cast<std::size_t>(file);
  for (const auto& row : table.rows) {
    if (!row.typeOfFile[column]) continue;
    auto category = std::find_if(root.begin(), root.end(), [&](const auto& n) { return n->category == row.category; });
    if (category == root.end()) {
      auto node = std::make_shared<SigNode>();
      node->fileTypeSigNode = SigNode::kCategoryNode;
      node->category = row.category;
      root.push_back(std::move(node));
      category = root.end() - 1;
    }
    auto sig = std::make_shared<Sig>();
    sig->preInstalled = true;
    const auto index = std::find(allCategories.begin(), allCategories.end(), row.category) - allCategories.begin();
    sig->categoryID = static_cast<std::uint8_t>(index + 1);
    sig->category = row.category;
    sig->typeOfFile = *row.typeOfFile[column];
    sig->software = row.software;
    sig->extension = row.extension;
    sig->offset = row.offset;
    sig->headerLength = static_cast<std::uint8_t>(row.headerBytes.size());
    sig->header = row.header();
    sig->defaultSize = row.defaultSize;
    auto leaf = std::make_shared<SigNode>();
    leaf->fileTypeSigNode = SigNode::kFileTypeNode;
    leaf->category = row.category;
    leaf->sig = std::move(sig);
    leaf->parent = category->get();
    (*category)->addChild(std::move(leaf));
  }
  return root;
}

}  // namespace nua
