// A small option reader for the subcommands: "--name value" pairs and bare flags, with a clear error
// for anything unknown.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace nua::cli {

struct ParsedOptions {
  std::map<std::string, std::string> values;  // "--mode" -> "files"
  std::set<std::string> flags;                // "--json"
  std::vector<std::string> positional;
  std::string error;                          // non-empty when the words are off
  [[nodiscard]] std::optional<std::string> value(const std::string& name) const;
  [[nodiscard]] bool flag(const std::string& name) const { return flags.count(name) != 0; }
};

// `withValue` names the options that take a value; `bare` the flags.
[[nodiscard]] ParsedOptions parseOptions(const std::vector<std::string>& args, const std::set<std::string>& withValue,
                                         const std::set<std::string>& bare);

}  // namespace nua::cli
