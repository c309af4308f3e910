#include "base/log.h"

#include <syslog.h>

#include <mutex>

namespace nua {
namespace {
std::mutex gSinkMutex;
std::function<void(const std::string&)> gSink;
}  // namespace

void logLine(const std::string& line) {
  std::function<void(const std::string&)> sink;
  {
    std::lock_guard lock(gSinkMutex);
    sink = gSink;
  }
  if (sink) {
    sink(line);
    return;
  }
  syslog(LOG_NOTICE, "%s", line.c_str());
}

void setLogSink(std::function<void(const std::string&)> sink) {
  std::lock_guard lock(gSinkMutex);
  gSink = std::move(sink);
}

}  // namespace nua
