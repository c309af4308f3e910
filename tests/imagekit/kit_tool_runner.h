// Runs an outside reader (fls, icat, fshfsinfo) on a generated image and captures what it prints.
#pragma once

#include <string>
#include <vector>

namespace nua::imagekit::test {

// True when `tool` is on PATH.
[[nodiscard]] bool toolAvailable(const std::string& tool);
// Runs the command (arguments are single-quoted) and returns its standard output; `exitCode` gets the status.
[[nodiscard]] std::string runTool(const std::vector<std::string>& argv, int& exitCode);
// A fresh scratch directory under the test temp folder.
[[nodiscard]] std::string scratchDirectory(const std::string& name);

}  // namespace nua::imagekit::test
