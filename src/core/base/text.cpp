#include "base/text.h"

#include <cstdio>

namespace nua {

std::string toUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint32_t cp = text[i];
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (cp >= 0xD800 && cp <= 0xDFFF) {
      cp = 0xFFFD;
    }
    if (cp < 0x80) {
      out += static_cast<char>(cp);
    } else if (cp < 0x800) {
      out += static_cast<char>(0xC0 | (cp >> 6));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      out += static_cast<char>(0xE0 | (cp >> 12));
      out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (cp >> 18));
      out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (cp & 0x3F));
    }
  }
  return out;
}

std::u16string toUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    auto c = static_cast<unsigned char>(text[i]);
    std::uint32_t cp = 0xFFFD;
    std::size_t len = 1;
    if (c < 0x80) {
      cp = c;
    } else if ((c >> 5) == 0x6) {
      len = 2;
      cp = c & 0x1F;
    } else if ((c >> 4) == 0xE) {
      len = 3;
      cp = c & 0x0F;
    } else if ((c >> 3) == 0x1E) {
      len = 4;
      cp = c & 0x07;
    } else {
      len = 0;
    }
    bool ok = len != 0 && i + len <= text.size();
    for (std::size_t k = 1; ok && k < len; ++k) {
      auto cc = static_cast<unsigned char>(text[i + k]);
      if ((cc >> 6) != 0x2) ok = false;
      cp = (cp << 6) | (cc & 0x3F);
    }
    if (!ok) {
      cp = 0xFFFD;
      len = 1;
    }
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out += static_cast<char16_t>(0xD800 + (cp >> 10));
      out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      out += static_cast<char16_t>(cp);
    }
    i += len;
  }
  return out;
}

std::string formatText(std::string_view format, const std::vector<std::string>& args) {
  std::string out;
  std::size_t next = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] == '%' && i + 1 < format.size() && format[i + 1] == '@' && next < args.size()) {
      out += args[next++];
      ++i;
    } else {
      out += format[i];
    }
  }
  return out;
}

std::string sizeText(std::uint64_t bytes) {
  if (bytes == 0) return "0 KB";
  char buf[64];
  const float value = static_cast<float>(bytes);
  if (bytes <= 999999ULL) {
    std::snprintf(buf, sizeof buf, "%.2f KB", static_cast<double>(value / 1000.0f));
  } else if (bytes <= 999999999ULL) {
    std::snprintf(buf, sizeof buf, "%.2f MB", static_cast<double>(value / 1000000.0f));
  } else {
    std::snprintf(buf, sizeof buf, "%.2f GB", static_cast<double>(value / 1000000000.0f));
  }
  return buf;
}

}  // namespace nua
