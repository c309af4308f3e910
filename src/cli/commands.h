// The subcommands of nua-recover; each returns the process exit code.
#pragma once

#include <string>
#include <vector>

namespace nua::cli {

int planCommand(const std::vector<std::string>& args);
int infoCommand(const std::vector<std::string>& args);
int typesCommand(const std::vector<std::string>& args);
int drivesCommand(const std::vector<std::string>& args);
int partitionsCommand(const std::vector<std::string>& args);
int scanCommand(const std::vector<std::string>& args);
int openCommand(const std::vector<std::string>& args);
int findVolumesCommand(const std::vector<std::string>& args);

}  // namespace nua::cli
