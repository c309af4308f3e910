// What the search for lost volumes tells the person watching it ("PT scan prog"): a typed update and
// the sink it goes to. app/ alone turns it into what the screen shows.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/dict.h"
#include "volume/progress_sink.h"

namespace nua {

// One update of the search's screen. An empty field leaves its part as it is, except the check's
// label and time, which every update sets.
struct VolumeSearchProgress {
  // The sweep's bar over the disk's chunks, and the time the whole search will take.
  std::optional<std::uint64_t> barMaximum;
  std::optional<std::uint64_t> barValue;
  std::optional<std::string> timeRemaining;
  // A found volume is being judged: its own time left shows under the validity bar.
  bool checking = false;
  std::string checkTimeRemaining;
  std::optional<ProgressAnimation> validityAnimation;
  // A new row of the found-volume table ("Found Column", "Validity Column").
  std::optional<Dict> foundRow;
};

// Where the search reports; it runs on its own thread.
class VolumeSearchSink {
 public:
  virtual ~VolumeSearchSink() = default;
  // Shown before the search goes on.
  virtual void report(const VolumeSearchProgress& progress) = 0;
  // The sweep's position is handed over once a second, as a tree scan's counts are: while an offered
  // position waits to be shown, the search offers nothing new.
  [[nodiscard]] virtual bool sweepOfferPending() const = 0;
  virtual void offerSweepPosition(const VolumeSearchProgress& progress) = 0;

  // A sink that shows nothing.
  [[nodiscard]] static VolumeSearchSink& none();
};

}  // namespace nua
