// The scenario registry and option helpers.
#include "imagekit/scenario.h"

#include <algorithm>
#include <charconv>

namespace nua::imagekit {

namespace {
std::vector<Scenario>& registry() {
  static std::vector<Scenario> all;
  return all;
}
}  // namespace

void registerScenario(Scenario scenario) {
  auto& all = registry();
  auto found = std::find_if(all.begin(), all.end(), [&](const Scenario& s) { return s.name == scenario.name; });
  if (found != all.end()) {
    *found = std::move(scenario);
  } else {
    all.push_back(std::move(scenario));
  }
  std::sort(all.begin(), all.end(), [](const Scenario& a, const Scenario& b) { return a.name < b.name; });
}

const std::vector<Scenario>& scenarios() {
  registerAllScenarios();
  return registry();
}

const Scenario* findScenario(const std::string& name) {
  for (const Scenario& scenario : scenarios()) {
    if (scenario.name == name) return &scenario;
  }
  return nullptr;
}

bool optionUint(const ScenarioOptions& options, const std::string& key, std::uint64_t fallback,
                std::uint64_t& value, std::string& error) {
  const auto found = options.values.find(key);
  if (found == options.values.end()) {
    value = fallback;
    return true;
  }
  const std::string& text = found->second;
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (code != std::errc() || end != text.data() + text.size() || text.empty()) {
    error = "--" + key + " needs a decimal number, got \"" + text + "\"";
    return false;
  }
  return true;
}

bool optionFlag(const ScenarioOptions& options, const std::string& key) {
  const auto found = options.values.find(key);
  return found != options.values.end() && found->second != "0" && found->second != "false";
}

}  // namespace nua::imagekit
