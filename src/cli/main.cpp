// nua-recover: the command-line front end over the same controller as the desktop program.
#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"

namespace {

const char* kUsage =
    "usage: nua-recover COMMAND [options]\n"
    "\n"
    "commands:\n"
    "  plan     show which screens and which scan the wizard would choose (nua-recover plan --help)\n"
    "  info     describe a device or disk image: size, sector size, partition map or file system\n"
    "  types    list, add or remove the file types a signature search looks for\n"
    "  drives   list the drives and volumes, with disk images given by --image PATH (--json)\n"
    "  partitions  list the HFS+ partitions of a disk or image (--json)\n"
    "  find-volumes  search a whole disk or image for lost HFS+ volumes (--json)\n"
    "  scan     run the scan of any goal on a volume or disk and print the tree (nua-recover scan --help)\n"
    "  resume   continue a signature search that was killed midway (nua-recover scan --help)\n"
    "  open     open a recovery session file (.nvs) without scanning (nua-recover open --help)\n"
    "  preview  write what a preview of one entry shows (nua-recover preview --help)\n"
    "\n"
    "options:\n"
    "  --help     this text\n"
    "  --version  the program's version\n"
    "\n"
    "Sources are only ever opened read-only.\n";

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  const std::string command = args.front();
  args.erase(args.begin());
  if (command == "--help" || command == "-h" || command == "help") {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (command == "--version") {
    std::printf("nua-recover %s\n", NUA_VERSION);
    return 0;
  }
  if (command == "plan") return nua::cli::planCommand(args);
  if (command == "info") return nua::cli::infoCommand(args);
  if (command == "types") return nua::cli::typesCommand(args);
  if (command == "drives") return nua::cli::drivesCommand(args);
  if (command == "partitions") return nua::cli::partitionsCommand(args);
  if (command == "scan") return nua::cli::scanCommand(args);
  if (command == "resume") {
    args.emplace_back("--resume");
    return nua::cli::scanCommand(args);
  }
  if (command == "open") return nua::cli::openCommand(args);
  if (command == "find-volumes") return nua::cli::findVolumesCommand(args);
  if (command == "preview") return nua::cli::previewCommand(args);
  std::fprintf(stderr, "nua-recover: unknown command or option '%s'\n%s", command.c_str(), kUsage);
  return 2;
}
