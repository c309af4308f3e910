// A string-keyed value type for the drive, volume, partition and progress dictionaries, whose
// behaviour is defined by which keys are present.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace nua {

class Dict;
struct DictValue;
using DictArray = std::vector<DictValue>;

// One value: absent keys are simply not in the map, so there is no "null".
struct DictValue {
  using Storage = std::variant<bool, std::int64_t, std::uint64_t, double, std::string, std::shared_ptr<DictArray>,
                               std::shared_ptr<Dict>>;
  Storage value;

  DictValue() : value(false) {}
  DictValue(bool v) : value(v) {}  // NOLINT(google-explicit-constructor): literal-friendly
  DictValue(int v) : value(static_cast<std::int64_t>(v)) {}
  DictValue(std::int64_t v) : value(v) {}
  DictValue(std::uint64_t v) : value(v) {}
  DictValue(std::uint32_t v) : value(static_cast<std::uint64_t>(v)) {}
  DictValue(double v) : value(v) {}
  DictValue(const char* v) : value(std::string(v)) {}
  DictValue(std::string v) : value(std::move(v)) {}
  DictValue(DictArray v);
  DictValue(Dict v);

  [[nodiscard]] bool isString() const { return std::holds_alternative<std::string>(value); }
  [[nodiscard]] bool isNumber() const;
  [[nodiscard]] bool isBool() const { return std::holds_alternative<bool>(value); }
  [[nodiscard]] bool isArray() const { return std::holds_alternative<std::shared_ptr<DictArray>>(value); }
  [[nodiscard]] bool isDict() const { return std::holds_alternative<std::shared_ptr<Dict>>(value); }

  // Conversions in the forgiving manner of a property list: a number reads as a bool, a bool as 0 or 1.
  [[nodiscard]] std::int64_t toInt64() const;
  [[nodiscard]] std::uint64_t toUInt64() const;
  [[nodiscard]] double toDouble() const;
  [[nodiscard]] bool toBool() const;
  // The string value, or the empty string for any other kind.
  [[nodiscard]] const std::string& toString() const;
  [[nodiscard]] const DictArray* array() const;
  [[nodiscard]] const Dict* dict() const;

  friend bool operator==(const DictValue& a, const DictValue& b);
};

class Dict {
 public:
  Dict() = default;
  Dict(std::initializer_list<std::pair<const std::string, DictValue>> init) : entries_(init) {}

  [[nodiscard]] bool has(const std::string& key) const { return entries_.count(key) != 0; }
  [[nodiscard]] const DictValue* find(const std::string& key) const;
  void set(const std::string& key, DictValue value) { entries_[key] = std::move(value); }
  void remove(const std::string& key) { entries_.erase(key); }
  [[nodiscard]] bool empty() const { return entries_.empty(); }
  [[nodiscard]] std::size_t size() const { return entries_.size(); }

  // Typed reads that give a fallback when the key is absent.
  [[nodiscard]] std::string string(const std::string& key, const std::string& fallback = {}) const;
  [[nodiscard]] std::int64_t int64(const std::string& key, std::int64_t fallback = 0) const;
  [[nodiscard]] std::uint64_t uint64(const std::string& key, std::uint64_t fallback = 0) const;
  [[nodiscard]] bool boolean(const std::string& key, bool fallback = false) const;

  [[nodiscard]] auto begin() const { return entries_.begin(); }
  [[nodiscard]] auto end() const { return entries_.end(); }

  friend bool operator==(const Dict& a, const Dict& b);

 private:
  std::map<std::string, DictValue> entries_;
};

// Renders a value or dictionary as JSON (keys in sorted order), for the command line's --json output.
[[nodiscard]] std::string toJson(const DictValue& value);
[[nodiscard]] std::string toJson(const Dict& dict);
// Escapes a UTF-8 string as a JSON string literal, quotes included.
[[nodiscard]] std::string jsonQuote(const std::string& text);

}  // namespace nua
