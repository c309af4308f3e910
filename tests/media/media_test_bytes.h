// Small helpers for the media tests: byte buffers with values put at offsets, and the fixed-seed
// mutation loop every decoder goes through.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "base/bytes.h"

namespace nua::testing {

using Bytes = std::vector<std::byte>;

inline void putText(Bytes& b, std::size_t offset, const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) b[offset + i] = static_cast<std::byte>(text[i]);
}

// Feeds `rounds` mutations of `seed` (and random lengths of it) to `decode`; the test only asks that
// every call returns.
inline void mutationLoop(const Bytes& seed, const std::function<void(ByteSpan)>& decode, int rounds = 2000) {
  std::mt19937 random(20240611u);
  for (int round = 0; round < rounds; ++round) {
    Bytes bytes = seed;
    const int flips = 1 + static_cast<int>(random() % 16);
    for (int i = 0; i < flips && !bytes.empty(); ++i)
      bytes[random() % bytes.size()] = static_cast<std::byte>(random() & 0xFF);
    bytes.resize(random() % (seed.size() + 1));
    decode(bytes);
  }
}

}  // namespace nua::testing
