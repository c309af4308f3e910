// The outcome of decoding one partition-map or volume structure in the media layer: the value, or
// the reason it could not be decoded (structure, field and hex offset). Decoders never throw.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <utility>

namespace nua {

template <class T>
struct [[nodiscard]] Decoded {
  std::optional<T> value;
  std::string reason;

  [[nodiscard]] bool ok() const { return value.has_value(); }
  explicit operator bool() const { return ok(); }
  [[nodiscard]] const T& operator*() const { return *value; }
  [[nodiscard]] const T* operator->() const { return &*value; }

  static Decoded success(T v) { return Decoded{std::move(v), {}}; }
  static Decoded failure(std::string why) { return Decoded{std::nullopt, std::move(why)}; }
};

// "<structure>: <field> at 0x<offset> <what>".
[[nodiscard]] inline std::string decodeReason(const char* structure, const char* field, std::size_t offset,
                                              const char* what) {
  char text[160];
  std::snprintf(text, sizeof text, "%s: %s at 0x%zx %s", structure, field, offset, what);
  return text;
}

}  // namespace nua
