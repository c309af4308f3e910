// Construction of keyed values and lookups in keyed objects.
#include "archive/keyed_value.h"

#include <stdexcept>

namespace nua {

KeyedValue KeyedValue::boolean(bool v) {
  KeyedValue value;
  value.kind_ = KeyedKind::kBool;
  value.bits_ = v ? 1 : 0;
  return value;
}

KeyedValue KeyedValue::integer(KeyedKind kind, std::uint64_t bits) {
  KeyedValue value;
  value.kind_ = kind;
  // Keep the width: the stored bits are what a reader of that width would see, extended to 64.
  switch (kind) {
    case KeyedKind::kInt8: value.bits_ = static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<std::int8_t>(bits))); break;
    case KeyedKind::kInt16: value.bits_ = static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<std::int16_t>(bits))); break;
    case KeyedKind::kInt32: value.bits_ = static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<std::int32_t>(bits))); break;
    case KeyedKind::kInt64: value.bits_ = bits; break;
    case KeyedKind::kUInt8: value.bits_ = bits & 0xFFu; break;
    case KeyedKind::kUInt16: value.bits_ = bits & 0xFFFFu; break;
    case KeyedKind::kUInt32: value.bits_ = bits & 0xFFFFFFFFu; break;
    case KeyedKind::kUInt64: value.bits_ = bits; break;
    default: throw std::invalid_argument("KeyedValue::integer: not an integer kind");
  }
  return value;
}

bool KeyedValue::isInteger() const {
  return kind_ >= KeyedKind::kInt8 && kind_ <= KeyedKind::kUInt64;
}

KeyedValue KeyedValue::real(double v) {
  KeyedValue value;
  value.kind_ = KeyedKind::kDouble;
  value.real_ = v;
  return value;
}

KeyedValue KeyedValue::string(std::string v) {
  KeyedValue value;
  value.kind_ = KeyedKind::kString;
  value.text_ = std::move(v);
  return value;
}

KeyedValue KeyedValue::bytes(std::vector<std::byte> v) {
  KeyedValue value;
  value.kind_ = KeyedKind::kBytes;
  value.data_ = std::move(v);
  return value;
}

KeyedValue KeyedValue::array(std::vector<KeyedValue> v) {
  KeyedValue value;
  value.kind_ = KeyedKind::kArray;
  value.items_ = std::move(v);
  return value;
}

KeyedValue KeyedValue::object(KeyedObject v) {
  KeyedValue value;
  value.kind_ = KeyedKind::kObject;
  value.object_ = std::make_shared<const KeyedObject>(std::move(v));
  return value;
}

void KeyedObject::set(std::string key, KeyedValue value) {
  for (auto& entry : entries_) {
    if (entry.first == key) {
      entry.second = std::move(value);
      return;
    }
  }
  entries_.emplace_back(std::move(key), std::move(value));
}

const KeyedValue* KeyedObject::find(std::string_view key) const {
  for (const auto& entry : entries_) {
    if (entry.first == key) return &entry.second;
  }
  return nullptr;
}

}  // namespace nua
