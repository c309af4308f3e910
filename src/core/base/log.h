// The program's few log lines: plain text, no levels, to the system log (and a test hook).
#pragma once

#include <functional>
#include <string>

namespace nua {

void logLine(const std::string& line);
// Replaces where log lines go; an empty function restores the system log. For tests.
void setLogSink(std::function<void(const std::string&)> sink);

}  // namespace nua
