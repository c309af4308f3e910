#include "base/dict.h"

#include <cmath>
#include <cstdio>

namespace nua {

DictValue::DictValue(DictArray v) : value(std::make_shared<DictArray>(std::move(v))) {}
DictValue::DictValue(Dict v) : value(std::make_shared<Dict>(std::move(v))) {}

bool DictValue::isNumber() const {
  return std::holds_alternative<std::int64_t>(value) || std::holds_alternative<std::uint64_t>(value) ||
         std::holds_alternative<double>(value);
}

std::int64_t DictValue::toInt64() const {
  if (auto p = std::get_if<std::int64_t>(&value)) return *p;
  if (auto p = std::get_if<std::uint64_t>(&value)) return static_cast<std::int64_t>(*p);
  if (auto p = std::get_if<double>(&value)) return std::isfinite(*p) ? static_cast<std::int64_t>(*p) : 0;
  if (auto p = std::get_if<bool>(&value)) return *p ? 1 : 0;
  return 0;
}

std::uint64_t DictValue::toUInt64() const {
  if (auto p = std::get_if<std::uint64_t>(&value)) return *p;
  if (auto p = std::get_if<std::int64_t>(&value)) return static_cast<std::uint64_t>(*p);
  if (auto p = std::get_if<double>(&value)) return (std::isfinite(*p) && *p > 0) ? static_cast<std::uint64_t>(*p) : 0;
  if (auto p = std::get_if<bool>(&value)) return *p ? 1 : 0;
  return 0;
}

double DictValue::toDouble() const {
  if (auto p = std::get_if<double>(&value)) return *p;
  if (auto p = std::get_if<std::uint64_t>(&value)) return static_cast<double>(*p);
  return static_cast<double>(toInt64());
}

bool DictValue::toBool() const {
  if (auto p = std::get_if<bool>(&value)) return *p;
  if (isNumber()) return toDouble() != 0.0;
  return false;
}

const std::string& DictValue::toString() const {
  static const std::string kEmpty;
  if (auto p = std::get_if<std::string>(&value)) return *p;
  return kEmpty;
}

const DictArray* DictValue::array() const {
  if (auto p = std::get_if<std::shared_ptr<DictArray>>(&value)) return p->get();
  return nullptr;
}

const Dict* DictValue::dict() const {
  if (auto p = std::get_if<std::shared_ptr<Dict>>(&value)) return p->get();
  return nullptr;
}

bool operator==(const DictValue& a, const DictValue& b) {
  if (a.isNumber() && b.isNumber()) {
    if (std::holds_alternative<double>(a.value) || std::holds_alternative<double>(b.value))
      return a.toDouble() == b.toDouble();
    return a.toInt64() == b.toInt64() && a.toUInt64() == b.toUInt64();
  }
  if (a.value.index() != b.value.index()) return false;
  if (a.isArray()) return *a.array() == *b.array();
  if (a.isDict()) return *a.dict() == *b.dict();
  return a.value == b.value;
}

bool operator==(const Dict& a, const Dict& b) { return a.entries_ == b.entries_; }

const DictValue* Dict::find(const std::string& key) const {
  auto it = entries_.find(key);
  return it == entries_.end() ? nullptr : &it->second;
}

std::string Dict::string(const std::string& key, const std::string& fallback) const {
  const DictValue* v = find(key);
  return (v && v->isString()) ? v->toString() : fallback;
}

std::int64_t Dict::int64(const std::string& key, std::int64_t fallback) const {
  const DictValue* v = find(key);
  return v ? v->toInt64() : fallback;
}

std::uint64_t Dict::uint64(const std::string& key, std::uint64_t fallback) const {
  const DictValue* v = find(key);
  return v ? v->toUInt64() : fallback;
}

bool Dict::boolean(const std::string& key, bool fallback) const {
  const DictValue* v = find(key);
  return v ? v->toBool() : fallback;
}

std::string jsonQuote(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", c);
          out += buf;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  out += '"';
  return out;
}

std::string toJson(const DictValue& v) {
  if (auto p = std::get_if<bool>(&v.value)) return *p ? "true" : "false";
  if (auto p = std::get_if<std::int64_t>(&v.value)) return std::to_string(*p);
  if (auto p = std::get_if<std::uint64_t>(&v.value)) return std::to_string(*p);
  if (auto p = std::get_if<double>(&v.value)) {
    if (!std::isfinite(*p)) return "null";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.17g", *p);
    return buf;
  }
  if (v.isString()) return jsonQuote(v.toString());
  if (const DictArray* a = v.array()) {
    std::string out = "[";
    for (std::size_t i = 0; i < a->size(); ++i) {
      if (i) out += ", ";
      out += toJson((*a)[i]);
    }
    return out + "]";
  }
  if (const Dict* d = v.dict()) return toJson(*d);
  return "null";
}

std::string toJson(const Dict& dict) {
  std::string out = "{";
  bool first = true;
  for (const auto& [key, value] : dict) {
    if (!first) out += ", ";
    first = false;
    out += jsonQuote(key) + ": " + toJson(value);
  }
  return out + "}";
}

}  // namespace nua
