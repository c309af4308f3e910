// A signature search's progress on the scan screen: the engine's numbers become an update, with its
// texts, only when the screen is ready to take one, so a fast search never formats text it drops.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "signature/signature_scan_engine.h"
#include "volume/progress_sink.h"

namespace nua {

// "Calculating ..." until a thousandth of the range is done, then the time left.
inline constexpr const char* kCalculatingTimeRemaining = "Calculating ...";

// The update for one refresh: status, bar value, percent, sizes, time left and what was found.
[[nodiscard]] ScanProgress signatureSearchUpdate(const SignatureScanProgress& numbers, const std::string& status,
                                                 const ScanCounts& counts);

class SignatureSearchProgress final : public SignatureScanProgressSink {
 public:
  // `counts` is asked on the scan thread, at each update made.
  SignatureSearchProgress(ProgressSink& progress, std::string status, std::function<ScanCounts()> counts);
  // The opening update, shown before the search starts: the status, a bar that fills up to
  // `totalUnits`, and no time left yet.
  void open(std::uint64_t totalUnits);
  // Offers an update unless the last one is still waiting to be shown.
  void publish(const SignatureScanProgress& numbers) override;

 private:
  ProgressSink& progress_;
  std::string status_;
  std::function<ScanCounts()> counts_;
};

}  // namespace nua
