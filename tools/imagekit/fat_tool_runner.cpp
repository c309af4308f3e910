// Starts a program with posix_spawn and collects what it prints.
#include "imagekit/fat_tool_runner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <sstream>

extern char** environ;

namespace nua::imagekit {

namespace {

// Big enough for any listing the kit reads back; a runaway program is cut off rather than filling memory.
constexpr std::size_t kMaxOutputBytes = 16U * 1024U * 1024U;

std::vector<std::string> searchFolders() {
  std::vector<std::string> folders;
  const char* path = std::getenv("PATH");
  std::stringstream stream(path != nullptr ? path : "");
  std::string folder;
  while (std::getline(stream, folder, ':')) {
    if (!folder.empty()) folders.push_back(folder);
  }
  for (const char* extra : {"/usr/sbin", "/sbin", "/usr/bin", "/bin"}) folders.emplace_back(extra);
  return folders;
}

}  // namespace

std::string findTool(const std::string& name) {
  if (name.find('/') != std::string::npos) return ::access(name.c_str(), X_OK) == 0 ? name : std::string();
  for (const std::string& folder : searchFolders()) {
    const std::string candidate = folder + "/" + name;
    if (::access(candidate.c_str(), X_OK) == 0 && !std::filesystem::is_directory(candidate)) return candidate;
  }
  return {};
}

ToolRun runTool(const std::vector<std::string>& arguments) {
  ToolRun run;
  if (arguments.empty()) return run;
  const std::string program = findTool(arguments[0]);
  if (program.empty()) {
    run.output = arguments[0] + ": not found";
    return run;
  }
  std::vector<std::string> environment;
  for (char** item = environ; item != nullptr && *item != nullptr; ++item) {
    const std::string entry(*item);
    // The tools must not stamp local time or ask questions; everything else passes through.
    if (entry.rfind("TZ=", 0) == 0 || entry.rfind("MTOOLS_SKIP_CHECK=", 0) == 0) continue;
    environment.push_back(entry);
  }
  environment.emplace_back("TZ=UTC");
  environment.emplace_back("MTOOLS_SKIP_CHECK=1");
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv[0] = const_cast<char*>(program.c_str());
  argv.push_back(nullptr);
  std::vector<char*> envp;
  for (std::string& entry : environment) envp.push_back(entry.data());
  envp.push_back(nullptr);

  std::array<int, 2> pipeEnds{};
  if (::pipe(pipeEnds.data()) != 0) return run;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 1);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 2);
  posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
  posix_spawn_file_actions_addclose(&actions, pipeEnds[1]);
  pid_t pid = 0;
  const int spawned = ::posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipeEnds[1]);
  if (spawned != 0) {
    ::close(pipeEnds[0]);
    run.output = arguments[0] + ": could not start";
    return run;
  }
  std::array<char, 65536> buffer{};
  for (;;) {
    const ssize_t got = ::read(pipeEnds[0], buffer.data(), buffer.size());
    if (got <= 0) break;
    if (run.output.size() < kMaxOutputBytes) run.output.append(buffer.data(), static_cast<std::size_t>(got));
  }
  ::close(pipeEnds[0]);
  int status = 0;
  if (::waitpid(pid, &status, 0) == pid && WIFEXITED(status)) run.exitCode = WEXITSTATUS(status);
  return run;
}

bool runToolChecked(const std::vector<std::string>& arguments, std::string& error) {
  const ToolRun run = runTool(arguments);
  if (run.exitCode == 0) return true;
  std::string command;
  for (const std::string& argument : arguments) command += (command.empty() ? "" : " ") + argument;
  error = command + " failed (exit " + std::to_string(run.exitCode) + "): " + run.output;
  return false;
}

}  // namespace nua::imagekit
