#include "save/detail/save_names.h"

namespace nua::detail {

std::string replaceSlashes(std::string_view name, bool canSaveSlashes) {
  std::string out(name);
  for (char& c : out) {
    if (c == '/') c = canSaveSlashes ? ':' : '_';
  }
  return out;
}

std::string collisionName(std::string_view name) {
  const std::size_t lastDot = name.rfind('.');
  if (lastDot == std::string_view::npos) return std::string(name) + "_";
  return std::string(name.substr(0, lastDot)) + "_" + std::string(name.substr(lastDot));
}

}  // namespace nua::detail
