#include "container/media_digest.h"

#include <openssl/evp.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace nua {

std::optional<std::string> mediaMd5(const ImageContainer& container, const std::atomic<bool>* cancel) {
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  if (!context || EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) != 1) return std::nullopt;
  std::vector<std::byte> buffer(4u << 20);
  const std::uint64_t size = container.sizeInBytes();
  for (std::uint64_t at = 0; at < size; at += buffer.size()) {
    if (cancel && cancel->load()) return std::nullopt;
    const std::size_t length = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), size - at));
    int errorNumber = 0;
    if (container.readAt(at, std::span(buffer).first(length), errorNumber) != ReadOutcome::kComplete) return std::nullopt;
    EVP_DigestUpdate(context.get(), buffer.data(), length);
  }
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digestLength = 0;
  if (EVP_DigestFinal_ex(context.get(), digest, &digestLength) != 1) return std::nullopt;
  std::string hex;
  char pair[3];
  for (unsigned int i = 0; i < digestLength; ++i) {
    std::snprintf(pair, sizeof pair, "%02x", digest[i]);
    hex += pair;
  }
  return hex;
}

}  // namespace nua
