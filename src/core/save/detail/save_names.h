// Names of saved files and folders: the replacement for "/" and the next name tried on a collision.
#pragma once

#include <string>
#include <string_view>

namespace nua::detail {

// Every "/" becomes ":" (canSaveSlashes 1) or "_" (0).
[[nodiscard]] std::string replaceSlashes(std::string_view name, bool canSaveSlashes);

// The name tried when `name` is taken: "_" after the piece before the last ".", or after the whole
// name when it has no dot. a.b.c gives a.b_.c, abc gives abc_, abc. gives abc_.
[[nodiscard]] std::string collisionName(std::string_view name);

}  // namespace nua::detail
