#include "container/udif_resource_list.h"

namespace nua {
namespace {

int base64Value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

}  // namespace

bool decodeBase64(std::string_view text, std::vector<std::byte>& out) {
  out.clear();
  out.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  int bitCount = 0;
  bool padding = false;
  for (char c : text) {
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
    if (c == '=') {
      padding = true;
      continue;
    }
    const int value = base64Value(c);
    if (value < 0 || padding) return false;
    bits = (bits << 6) | static_cast<std::uint32_t>(value);
    bitCount += 6;
    if (bitCount >= 8) {
      bitCount -= 8;
      out.push_back(static_cast<std::byte>((bits >> bitCount) & 0xff));
    }
  }
  return true;
}

std::variant<std::vector<std::vector<std::byte>>, UdifProblem> parseUdifBlockTableList(std::string_view list) {
  const std::size_t key = list.find("<key>blkx</key>");
  if (key == std::string_view::npos) return UdifProblem{"property list: no \"blkx\" resource"};
  const std::size_t arrayStart = list.find("<array>", key);
  const std::size_t arrayEnd = arrayStart == std::string_view::npos ? arrayStart : list.find("</array>", arrayStart);
  if (arrayEnd == std::string_view::npos) return UdifProblem{"property list: the \"blkx\" array is not closed"};
  const std::string_view entries = list.substr(arrayStart, arrayEnd - arrayStart);

  std::vector<std::vector<std::byte>> tables;
  // Each step moves past one "Data" value, so the walk ends within the array.
  std::size_t at = 0;
  while ((at = entries.find("<key>Data</key>", at)) != std::string_view::npos) {
    const std::size_t open = entries.find("<data>", at);
    const std::size_t close = open == std::string_view::npos ? open : entries.find("</data>", open);
    if (close == std::string_view::npos) return UdifProblem{"property list: a \"blkx\" Data value is not closed"};
    std::vector<std::byte> table;
    if (!decodeBase64(entries.substr(open + 6, close - open - 6), table))
      return UdifProblem{"property list: \"blkx\" entry " + std::to_string(tables.size()) + " is not base64"};
    tables.push_back(std::move(table));
    at = close;
  }
  if (tables.empty()) return UdifProblem{"property list: the \"blkx\" array is empty"};
  return tables;
}

}  // namespace nua
