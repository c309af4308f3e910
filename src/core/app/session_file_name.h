// How a recovery session file is known by its name.
#pragma once

#include <string>

namespace nua {

// True when `path` ends in the session extension ".nvs".
[[nodiscard]] bool isSessionFileName(const std::string& path);

}  // namespace nua
