// The result of decoding one on-disk structure: the value, or the reason it could not be decoded
// (structure, field and hex offset), never an exception. Shared by every layer that parses bytes.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <utility>

namespace nua {

template <class T>
struct [[nodiscard]] Parsed {
  std::optional<T> value;
  std::string reason;

  [[nodiscard]] bool ok() const { return value.has_value(); }
  explicit operator bool() const { return ok(); }
  [[nodiscard]] const T& operator*() const { return *value; }
  [[nodiscard]] const T* operator->() const { return &*value; }

  static Parsed success(T v) { return Parsed{std::move(v), {}}; }
  static Parsed failure(std::string why) { return Parsed{std::nullopt, std::move(why)}; }
};

// "<structure>: <field> at 0x<offset> <what>", the one shape every decoding failure takes.
[[nodiscard]] inline std::string parseReason(const char* structure, const char* field, std::size_t offset,
                                             const char* what) {
  char text[160];
  std::snprintf(text, sizeof text, "%s: %s at 0x%zx %s", structure, field, offset, what);
  return text;
}

}  // namespace nua
