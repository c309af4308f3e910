// The preview worker: one thread that takes the newest request, cuts the one it is reading short, and
// turns an entry into what the window shows (folder, image bytes, movie bytes, text, or failure). The
// window's thread only hands requests over and receives outcomes: a device that stalls on a bad
// sector stalls this thread, never the window.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "view/media_probe.h"
#include "view/preview_data.h"
#include "view/preview_plan.h"

namespace nua {

struct PreviewRequest {
  bool isFolder = false;
  std::string fileName;  // the name shown in the outline
  PreviewEntry entry;
  PreviewSource source;
  std::shared_ptr<void> keepAlive;  // holds the source open while the worker reads it
};

// What the window shows for a request.
enum class PreviewShow {
  kFolder,   // the folder icon and the name
  kImage,    // `data` make an image
  kMovie,    // `data` go to the movie player
  kText,     // `text` on the "Text" tab (empty when the first block could not be read)
  kFailed,   // "preview-failed" on the "Image" tab
  kLoading,  // a read failed: "preview-loading" stays, the reader has alerted where it must
};

struct PreviewOutcome {
  PreviewShow show = PreviewShow::kText;
  std::string fileName;
  std::string extension;
  SupportedFileType supportedFileType = SupportedFileType::kNone;
  std::uint64_t fileSize = 0;
  std::vector<std::byte> data;
  std::string text;
};

// previewSmall without the thread: the choice by extension, the gathering, the image check with its
// text fallback. abort cuts it short (kFailed).
[[nodiscard]] PreviewOutcome previewSmall(const PreviewRequest& request, const MediaProbe& probe,
                                          std::atomic<bool>& previewThreadAbort);

class PreviewWorker {
 public:
  // started(generation) when the worker takes a request, done(generation, outcome) when it is
  // through; both on the worker's thread. An outcome of an older generation than the newest request
  // may still arrive: the receiver drops it.
  using Started = std::function<void(std::uint64_t)>;
  using Done = std::function<void(std::uint64_t, PreviewOutcome)>;
  PreviewWorker(std::shared_ptr<const MediaProbe> probe, Started started, Done done);
  // Cuts the running request short and lets the thread go; a thread stalled in a read ends on its own.
  ~PreviewWorker();
  PreviewWorker(const PreviewWorker&) = delete;
  PreviewWorker& operator=(const PreviewWorker&) = delete;

  // Hands over a request and returns its generation; the one being read is aborted.
  std::uint64_t request(PreviewRequest request);
  // Aborts what runs and drops what waits (the window was closed).
  void cancel();

 private:
  struct Shared;
  static void run(const std::shared_ptr<Shared>& shared);
  std::shared_ptr<Shared> shared_;
};

}  // namespace nua
