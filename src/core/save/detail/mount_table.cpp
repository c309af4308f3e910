#include "save/detail/mount_table.h"

#include <sys/sysmacros.h>

#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>

namespace nua::detail {

namespace {

// mountinfo writes space, tab, newline and backslash in paths as three octal digits after "\".
std::string unescape(std::string_view field) {
  std::string out;
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (field[i] == '\\' && field.size() - i > 3) {
      int value = 0;
      bool octal = true;
      for (std::size_t k = 1; k <= 3; ++k) {
        const char c = field[i + k];
        octal = octal && c >= '0' && c <= '7';
        value = value * 8 + (c - '0');
      }
      if (octal) {
        out.push_back(static_cast<char>(value));
        i += 3;
        continue;
      }
    }
    out.push_back(field[i]);
  }
  return out;
}

std::optional<std::uint64_t> deviceField(std::string_view field) {
  const std::size_t colon = field.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  unsigned int major = 0;
  unsigned int minor = 0;
  const auto [majorEnd, majorError] = std::from_chars(field.data(), field.data() + colon, major);
  const auto [minorEnd, minorError] = std::from_chars(field.data() + colon + 1, field.data() + field.size(), minor);
  if (majorError != std::errc() || minorError != std::errc() || majorEnd != field.data() + colon ||
      minorEnd != field.data() + field.size()) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(makedev(major, minor));
}

}  // namespace

std::vector<Mount> parseMountInfo(std::string_view text) {
  std::vector<Mount> mounts;
  std::istringstream lines{std::string(text)};
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    const std::vector<std::string> fields{std::istream_iterator<std::string>(words), {}};
    // id, parent, major:minor, root, mount point, options, optional fields..., "-", type, source, options
    std::size_t separator = 6;
    while (separator < fields.size() && fields[separator] != "-") ++separator;
    if (fields.size() < 6 || separator + 2 >= fields.size()) continue;
    const std::optional<std::uint64_t> device = deviceField(fields[2]);
    if (!device) continue;
    mounts.push_back({*device, unescape(fields[4]), fields[separator + 1], unescape(fields[separator + 2])});
  }
  return mounts;
}

std::vector<Mount> currentMounts() {
  std::ifstream in("/proc/self/mountinfo");
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  return parseMountInfo(text);
}

std::optional<Mount> mountOfDevice(const std::vector<Mount>& mounts, std::uint64_t deviceNumber) {
  for (const Mount& mount : mounts) {
    if (mount.deviceNumber == deviceNumber) return mount;
  }
  return std::nullopt;
}

}  // namespace nua::detail
