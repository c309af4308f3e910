// popen-based runner for the outside readers used as oracles.
#include "imagekit/kit_tool_runner.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace nua::imagekit::test {

namespace {
std::string quoted(const std::string& arg) {
  std::string out = "'";
  for (char c : arg) out += (c == '\'') ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}
}  // namespace

bool toolAvailable(const std::string& tool) {
  int code = 0;
  (void)runTool({"sh", "-c", "command -v " + tool + " >/dev/null"}, code);
  return code == 0;
}

std::string runTool(const std::vector<std::string>& argv, int& exitCode) {
  std::string command;
  for (const std::string& arg : argv) command += quoted(arg) + " ";
  command += "2>/dev/null";
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) {
    exitCode = -1;
    return {};
  }
  std::string output;
  std::array<char, 65536> buffer{};
  std::size_t n = 0;
  while ((n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0) output.append(buffer.data(), n);
  const int status = ::pclose(pipe);
  exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return output;
}

namespace {

// Scratch folders go when the test process ends, so that runs of the suite leave nothing in /tmp.
struct ScratchFolders {
  std::vector<std::filesystem::path> made;
  ~ScratchFolders() {
    std::error_code ignored;
    for (const auto& folder : made) std::filesystem::remove_all(folder, ignored);
  }
};

}  // namespace

std::string scratchDirectory(const std::string& name) {
  static ScratchFolders folders;
  const char* base = std::getenv("TEST_TMPDIR");
  std::filesystem::path dir = std::filesystem::path(base != nullptr ? base : "/tmp") /
                              ("nua-kit-" + std::to_string(::getpid()) + "-" + name);
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  folders.made.push_back(dir);
  return dir.string();
}

}  // namespace nua::imagekit::test
