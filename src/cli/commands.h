// The subcommands of nua-recover; each returns the process exit code.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace nua {
class Volume;
}

namespace nua::cli {

// Run on the finished tree in place of printing it (the preview command); its result is the exit code.
using TreeAction = std::function<int(Volume&)>;

int planCommand(const std::vector<std::string>& args);
int infoCommand(const std::vector<std::string>& args);
int typesCommand(const std::vector<std::string>& args);
int drivesCommand(const std::vector<std::string>& args);
int partitionsCommand(const std::vector<std::string>& args);
int scanCommand(const std::vector<std::string>& args, const TreeAction& treeAction = {});
int openCommand(const std::vector<std::string>& args, const TreeAction& treeAction = {});
int findVolumesCommand(const std::vector<std::string>& args);
int previewCommand(const std::vector<std::string>& args);

}  // namespace nua::cli
