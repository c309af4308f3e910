// Writing and reading the keyed container. The reader trusts nothing: each length is checked as
// `length <= size - offset`, each count against the bytes left, and nesting against a fixed depth.
#include "archive/keyed_archive.h"

#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace nua {
namespace {

constexpr std::array<char, 8> kMagic = {'N', 'U', 'A', 'K', 'E', 'Y', 'E', 'D'};

class Writer {
 public:
  std::vector<std::byte> out;

  void putByte(std::uint8_t v) { out.push_back(static_cast<std::byte>(v)); }
  void putLe(std::uint64_t v, std::size_t width) {
    const std::size_t at = out.size();
    out.resize(at + width);
    const MutableByteSpan span(out);
    switch (width) {
      case 1: put8(span, at, static_cast<std::uint8_t>(v)); break;
      case 2: putLe16(span, at, static_cast<std::uint16_t>(v)); break;
      case 4: putLe32(span, at, static_cast<std::uint32_t>(v)); break;
      default: putLe64(span, at, v); break;
    }
  }
  void putCount(std::size_t n) {
    if (n > std::numeric_limits<std::uint32_t>::max()) throw std::length_error("keyed archive: count over 32 bits");
    putLe(n, 4);
  }
  void putText(const std::string& text) {
    putCount(text.size());
    for (char c : text) out.push_back(static_cast<std::byte>(c));
  }
  void putValue(const KeyedValue& value) {
    putByte(static_cast<std::uint8_t>(value.kind()));
    switch (value.kind()) {
      case KeyedKind::kNull: break;
      case KeyedKind::kBool: putByte(value.asBool() ? 1 : 0); break;
      case KeyedKind::kInt8: case KeyedKind::kUInt8: putLe(value.asUnsigned(), 1); break;
      case KeyedKind::kInt16: case KeyedKind::kUInt16: putLe(value.asUnsigned(), 2); break;
      case KeyedKind::kInt32: case KeyedKind::kUInt32: putLe(value.asUnsigned(), 4); break;
      case KeyedKind::kInt64: case KeyedKind::kUInt64: putLe(value.asUnsigned(), 8); break;
      case KeyedKind::kDouble: putLe(std::bit_cast<std::uint64_t>(value.asDouble()), 8); break;
      case KeyedKind::kString: putText(value.asString()); break;
      case KeyedKind::kBytes:
        putCount(value.asBytes().size());
        out.insert(out.end(), value.asBytes().begin(), value.asBytes().end());
        break;
      case KeyedKind::kArray:
        putCount(value.asArray().size());
        for (const auto& item : value.asArray()) putValue(item);
        break;
      case KeyedKind::kObject: {
        const KeyedObject& object = *value.asObject();
        putText(object.className());
        putCount(object.entries().size());
        for (const auto& [key, item] : object.entries()) {
          putText(key);
          putValue(item);
        }
        break;
      }
    }
  }
};

std::string reasonAt(const char* field, std::size_t offset, const char* what) {
  char text[160];
  std::snprintf(text, sizeof text, "keyed archive: %s at 0x%zx %s", field, offset, what);
  return text;
}

class Reader {
 public:
  explicit Reader(ByteSpan bytes) : bytes_(bytes) {}

  std::string reason;
  std::size_t pos = 0;

  [[nodiscard]] bool need(std::size_t length, const char* field) {
    if (fits(bytes_.size(), pos, length)) return true;
    reason = reasonAt(field, pos, "runs past the end");
    return false;
  }
  [[nodiscard]] std::uint64_t takeLe(std::size_t width) {
    std::uint64_t v = 0;
    switch (width) {
      case 1: v = u8(bytes_, pos); break;
      case 2: v = le16(bytes_, pos); break;
      case 4: v = le32(bytes_, pos); break;
      default: v = le64(bytes_, pos); break;
    }
    pos += width;
    return v;
  }
  // A count of items each taking at least `minItemBytes` must fit in what is left.
  [[nodiscard]] std::optional<std::size_t> takeCount(const char* field, std::size_t minItemBytes) {
    if (!need(4, field)) return std::nullopt;
    const std::size_t at = pos;
    const std::size_t count = takeLe(4);
    if (count > (bytes_.size() - pos) / minItemBytes) {
      reason = reasonAt(field, at, "counts more than the bytes left");
      return std::nullopt;
    }
    return count;
  }
  [[nodiscard]] std::optional<std::string> takeText(const char* field) {
    const auto length = takeCount(field, 1);
    if (!length) return std::nullopt;
    std::string text(reinterpret_cast<const char*>(bytes_.data() + pos), *length);
    pos += *length;
    return text;
  }

  [[nodiscard]] std::optional<KeyedValue> takeValue(std::size_t depth) {
    if (!need(1, "value tag")) return std::nullopt;
    const std::size_t tagAt = pos;
    const auto kind = static_cast<KeyedKind>(takeLe(1));
    const auto scalar = [&](std::size_t width) -> std::optional<KeyedValue> {
      if (!need(width, "integer")) return std::nullopt;
      return KeyedValue::integer(kind, takeLe(width));
    };
    switch (kind) {
      case KeyedKind::kNull: return KeyedValue();
      case KeyedKind::kBool: {
        if (!need(1, "bool")) return std::nullopt;
        const std::uint64_t v = takeLe(1);
        if (v > 1) {
          reason = reasonAt("bool", pos - 1, "is neither 0 nor 1");
          return std::nullopt;
        }
        return KeyedValue::boolean(v == 1);
      }
      case KeyedKind::kInt8: case KeyedKind::kUInt8: return scalar(1);
      case KeyedKind::kInt16: case KeyedKind::kUInt16: return scalar(2);
      case KeyedKind::kInt32: case KeyedKind::kUInt32: return scalar(4);
      case KeyedKind::kInt64: case KeyedKind::kUInt64: return scalar(8);
      case KeyedKind::kDouble:
        if (!need(8, "double")) return std::nullopt;
        return KeyedValue::real(std::bit_cast<double>(takeLe(8)));
      case KeyedKind::kString: {
        auto text = takeText("string length");
        if (!text) return std::nullopt;
        return KeyedValue::string(std::move(*text));
      }
      case KeyedKind::kBytes: {
        const auto length = takeCount("bytes length", 1);
        if (!length) return std::nullopt;
        std::vector<std::byte> data(bytes_.begin() + static_cast<std::ptrdiff_t>(pos),
                                    bytes_.begin() + static_cast<std::ptrdiff_t>(pos + *length));
        pos += *length;
        return KeyedValue::bytes(std::move(data));
      }
      case KeyedKind::kArray: return takeArray(depth);
      case KeyedKind::kObject: return takeObject(depth);
    }
    reason = reasonAt("value tag", tagAt, "names no known kind");
    return std::nullopt;
  }

 private:
  [[nodiscard]] bool enter(std::size_t depth) {
    if (depth < kKeyedArchiveMaxDepth) return true;
    reason = reasonAt("nesting", pos, "is deeper than 64 levels");
    return false;
  }
  [[nodiscard]] std::optional<KeyedValue> takeArray(std::size_t depth) {
    if (!enter(depth)) return std::nullopt;
    const auto count = takeCount("array count", 1);  // every value takes at least its tag byte
    if (!count) return std::nullopt;
    std::vector<KeyedValue> items;
    items.reserve(*count);
    for (std::size_t i = 0; i < *count; ++i) {
      auto item = takeValue(depth + 1);
      if (!item) return std::nullopt;
      items.push_back(std::move(*item));
    }
    return KeyedValue::array(std::move(items));
  }
  [[nodiscard]] std::optional<KeyedValue> takeObject(std::size_t depth) {
    if (!enter(depth)) return std::nullopt;
    auto className = takeText("class name length");
    if (!className) return std::nullopt;
    const auto count = takeCount("object entry count", 5);  // key length (4) and a value tag (1)
    if (!count) return std::nullopt;
    KeyedObject object(std::move(*className));
    for (std::size_t i = 0; i < *count; ++i) {
      auto key = takeText("key length");
      if (!key) return std::nullopt;
      auto item = takeValue(depth + 1);
      if (!item) return std::nullopt;
      object.set(std::move(*key), std::move(*item));
    }
    return KeyedValue::object(std::move(object));
  }

  ByteSpan bytes_;
};

}  // namespace

std::vector<std::byte> writeKeyedArchive(const KeyedArchive& archive) {
  Writer w;
  for (char c : kMagic) w.out.push_back(static_cast<std::byte>(c));
  w.putLe(kKeyedArchiveFormatVersion, 2);
  w.putLe(0, 2);
  w.putLe(archive.contentVersion, 4);
  w.putLe(0, 8);  // body length, filled in below
  w.putValue(archive.root);
  putLe64(MutableByteSpan(w.out), 16, w.out.size() - kKeyedArchiveHeaderSize);
  return std::move(w.out);
}

KeyedArchiveResult readKeyedArchive(ByteSpan bytes) {
  if (bytes.size() < kKeyedArchiveHeaderSize) {
    return {std::nullopt, reasonAt("header", 0, "is shorter than 24 bytes")};
  }
  if (std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) != 0) {
    return {std::nullopt, reasonAt("magic", 0, "is not \"NUAKEYED\"")};
  }
  if (le16(bytes, 8) != kKeyedArchiveFormatVersion) {
    return {std::nullopt, reasonAt("format version", 8, "is not 1")};
  }
  if (le16(bytes, 10) != 0) return {std::nullopt, reasonAt("flags", 10, "are not 0")};
  if (le64(bytes, 16) != bytes.size() - kKeyedArchiveHeaderSize) {
    return {std::nullopt, reasonAt("body length", 16, "does not match the file size")};
  }
  Reader reader(bytes);
  reader.pos = kKeyedArchiveHeaderSize;
  auto root = reader.takeValue(0);
  if (!root) return {std::nullopt, reader.reason};
  if (reader.pos != bytes.size()) {
    return {std::nullopt, reasonAt("root value", reader.pos, "is followed by stray bytes")};
  }
  return {KeyedArchive{le32(bytes, 12), std::move(*root)}, {}};
}

}  // namespace nua
