// What watches over a signature search once its recovery pair stands: something outside the process
// that starts the program again with "auto" if the process ends while the pair is still there.
#pragma once

#include <string>

#include "session/recovery_pair.h"

namespace nua {

class SearchGuard {
 public:
  virtual ~SearchGuard() = default;
  // On the scan thread, just after the pair of the search about to start was written. Empty when the
  // guard watches; otherwise why not. A guard that can't start is no reason to stop the search.
  virtual std::string guardSearch(const RecoveryPairPaths& pair) = 0;
};

}  // namespace nua
