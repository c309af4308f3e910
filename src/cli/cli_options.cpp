#include "cli_options.h"

namespace nua::cli {

std::optional<std::string> ParsedOptions::value(const std::string& name) const {
  auto it = values.find(name);
  if (it == values.end()) return std::nullopt;
  return it->second;
}

ParsedOptions parseOptions(const std::vector<std::string>& args, const std::set<std::string>& withValue,
                           const std::set<std::string>& bare) {
  ParsedOptions parsed;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& word = args[i];
    if (word.rfind("--", 0) != 0 || word == "--") {
      parsed.positional.push_back(word);
      continue;
    }
    std::string name = word;
    std::optional<std::string> inlineValue;
    if (auto eq = word.find('='); eq != std::string::npos) {
      name = word.substr(0, eq);
      inlineValue = word.substr(eq + 1);
    }
    if (withValue.count(name)) {
      if (inlineValue) {
        parsed.values[name] = *inlineValue;
      } else if (i + 1 < args.size()) {
        parsed.values[name] = args[++i];
      } else {
        parsed.error = "option " + name + " needs a value";
        return parsed;
      }
    } else if (bare.count(name) && !inlineValue) {
      parsed.flags.insert(name);
    } else {
      parsed.error = "unknown option " + word;
      return parsed;
    }
  }
  return parsed;
}

}  // namespace nua::cli
