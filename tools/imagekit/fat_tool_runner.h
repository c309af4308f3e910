// Runs the outside programs the kit builds and checks images with (mkfs.fat, mtools, sfdisk, sgdisk),
// without a shell, so paths with spaces and quotes reach the program as they are.
#pragma once

#include <string>
#include <vector>

namespace nua::imagekit {

struct ToolRun {
  int exitCode = -1;  // -1 when the program could not be started
  std::string output;  // standard output and standard error, interleaved
};

// Full path of a program found on PATH or in the system folders (/usr/sbin, /sbin); empty when missing.
[[nodiscard]] std::string findTool(const std::string& name);

// Runs `arguments[0]` (looked up with findTool) with the rest as its arguments, with MTOOLS_SKIP_CHECK=1
// and a fixed TZ in its environment and standard input closed. A missing program gives exit code -1.
[[nodiscard]] ToolRun runTool(const std::vector<std::string>& arguments);

// Same, but gives false and an error naming the command and its output unless it exits with 0.
[[nodiscard]] bool runToolChecked(const std::vector<std::string>& arguments, std::string& error);

}  // namespace nua::imagekit
