// The values a keyed archive holds: typed scalars that keep their width, strings, bytes, arrays and
// nested objects with a class name. Session files, signature data files and the recovery pair use them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace nua {

enum class KeyedKind : std::uint8_t {
  kNull = 0x00,
  kBool = 0x01,
  kInt8 = 0x02,
  kInt16 = 0x03,
  kInt32 = 0x04,
  kInt64 = 0x05,
  kUInt8 = 0x06,
  kUInt16 = 0x07,
  kUInt32 = 0x08,
  kUInt64 = 0x09,
  kDouble = 0x0A,
  kString = 0x0B,
  kBytes = 0x0C,
  kArray = 0x0D,
  kObject = 0x0E,
};

class KeyedObject;

// One value. Integers remember the width they were written with; readers take them back through
// asUnsigned/asSigned and mask to the width they need.
class KeyedValue {
 public:
  KeyedValue() = default;  // null
  [[nodiscard]] static KeyedValue boolean(bool v);
  [[nodiscard]] static KeyedValue integer(KeyedKind kind, std::uint64_t bits);  // kind: one of the 8 integer kinds
  [[nodiscard]] static KeyedValue int32(std::int32_t v) { return integer(KeyedKind::kInt32, static_cast<std::uint32_t>(v)); }
  [[nodiscard]] static KeyedValue int64(std::int64_t v) { return integer(KeyedKind::kInt64, static_cast<std::uint64_t>(v)); }
  [[nodiscard]] static KeyedValue real(double v);
  [[nodiscard]] static KeyedValue string(std::string v);
  [[nodiscard]] static KeyedValue bytes(std::vector<std::byte> v);
  [[nodiscard]] static KeyedValue array(std::vector<KeyedValue> v);
  [[nodiscard]] static KeyedValue object(KeyedObject v);

  [[nodiscard]] KeyedKind kind() const { return kind_; }
  [[nodiscard]] bool isNull() const { return kind_ == KeyedKind::kNull; }
  [[nodiscard]] bool isInteger() const;
  [[nodiscard]] bool asBool() const { return bits_ != 0; }
  // The integer's bits: signed kinds sign-extended, unsigned zero-extended. Bool gives 0 or 1.
  [[nodiscard]] std::uint64_t asUnsigned() const { return bits_; }
  [[nodiscard]] std::int64_t asSigned() const { return static_cast<std::int64_t>(bits_); }
  [[nodiscard]] double asDouble() const { return real_; }
  [[nodiscard]] const std::string& asString() const { return text_; }
  [[nodiscard]] const std::vector<std::byte>& asBytes() const { return data_; }
  [[nodiscard]] const std::vector<KeyedValue>& asArray() const { return items_; }
  [[nodiscard]] std::vector<KeyedValue>& asArray() { return items_; }
  // Null unless kind() is kObject.
  [[nodiscard]] const KeyedObject* asObject() const { return object_.get(); }

 private:
  KeyedKind kind_ = KeyedKind::kNull;
  std::uint64_t bits_ = 0;
  double real_ = 0.0;
  std::string text_;
  std::vector<std::byte> data_;
  std::vector<KeyedValue> items_;
  std::shared_ptr<const KeyedObject> object_;
};

// A nested keyed object: a class name and values under string keys, in the order they were set.
class KeyedObject {
 public:
  KeyedObject() = default;
  explicit KeyedObject(std::string className) : className_(std::move(className)) {}

  [[nodiscard]] const std::string& className() const { return className_; }
  // Sets a key; a key set twice keeps its first position and takes the new value.
  void set(std::string key, KeyedValue value);
  // Null when the key is absent.
  [[nodiscard]] const KeyedValue* find(std::string_view key) const;
  [[nodiscard]] const std::vector<std::pair<std::string, KeyedValue>>& entries() const { return entries_; }

 private:
  std::string className_;
  std::vector<std::pair<std::string, KeyedValue>> entries_;
};

}  // namespace nua
