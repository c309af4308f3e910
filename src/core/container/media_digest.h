// The MD5 of a container's whole media, to check against the digest an evidence set stores.
#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "container/image_container.h"

namespace nua {

// Lowercase hex MD5 of every byte of `container`; nullopt when a read fails or `cancel` is set.
[[nodiscard]] std::optional<std::string> mediaMd5(const ImageContainer& container, const std::atomic<bool>* cancel);

}  // namespace nua
