// The scenario registry of the image kit: each scenario writes one image plus its manifest.
// Families register explicitly from registerAllScenarios(), because self-registering statics in a
// static library are dropped by the linker when nothing references their object file.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "imagekit/manifest.h"

namespace nua::imagekit {

struct ScenarioOptions {
  std::uint64_t seed = 1;
  std::map<std::string, std::string> values;  // "--key value" pairs; a bare "--flag" is stored as "1"
};

struct Scenario {
  std::string name;
  std::string description;
  // Writes the image to outPath and fills the manifest; false with `error` set on failure.
  std::function<bool(const std::string& outPath, const ScenarioOptions&, Manifest&, std::string& error)> make;
};

// Adds a scenario; a second scenario with the same name replaces the first.
void registerScenario(Scenario scenario);
// Every registered scenario, sorted by name. Calls registerAllScenarios() first.
[[nodiscard]] const std::vector<Scenario>& scenarios();
// The scenario called `name`, or nullptr.
[[nodiscard]] const Scenario* findScenario(const std::string& name);

// Registers every family once; later calls do nothing.
void registerAllScenarios();
// One per family, each in that family's own file.
void registerHfsScenarios();
void registerFatScenarios();
void registerFatGeometryScenarios();
void registerPartitionScenarios();
void registerDemoScenarios();
void registerFatSaveScenarios();
void registerLostVolumeScenarios();
void registerExfatScenarios();
void registerCarveScenarios();

// Reads an unsigned option; `fallback` when absent. Returns false with `error` set when the value is
// not a decimal number.
[[nodiscard]] bool optionUint(const ScenarioOptions& options, const std::string& key, std::uint64_t fallback,
                              std::uint64_t& value, std::string& error);
// True when the flag is present and not "0"/"false".
[[nodiscard]] bool optionFlag(const ScenarioOptions& options, const std::string& key);

}  // namespace nua::imagekit
