// Text helpers shared by every layer: UTF-16 names to UTF-8 and back, "%@" substitution, the size text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nua {

// Converts UTF-16 (host order) to UTF-8; unpaired surrogates become U+FFFD.
[[nodiscard]] std::string toUtf8(std::u16string_view text);
// Converts UTF-8 to UTF-16; invalid sequences become U+FFFD.
[[nodiscard]] std::u16string toUtf16(std::string_view text);

// Replaces each "%@" in order by the next argument; extra "%@" stay as they are.
[[nodiscard]] std::string formatText(std::string_view format, const std::vector<std::string>& args);

// The size text used everywhere: "0 KB", then "%.2f KB" up to 999999 bytes, "%.2f MB" up to 999999999,
// "%.2f GB" above, decimal units, divided in single precision.
[[nodiscard]] std::string sizeText(std::uint64_t bytes);

}  // namespace nua
