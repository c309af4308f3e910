#include "view/preview_worker.h"

namespace nua {

PreviewOutcome previewSmall(const PreviewRequest& request, const MediaProbe& probe,
                            std::atomic<bool>& previewThreadAbort) {
  PreviewOutcome outcome;
  outcome.fileName = request.fileName;
  outcome.fileSize = request.entry.fileSize;
  if (request.isFolder) {
    outcome.show = PreviewShow::kFolder;
    return outcome;
  }
  outcome.extension = previewExtensionOfName(request.fileName);
  outcome.supportedFileType = supportedFileTypeOf(request.fileName, probe);
  auto showText = [&]() {
    outcome.show = PreviewShow::kText;
    outcome.data.clear();
    outcome.text = previewTextData(request.entry, request.source).value_or(std::string());
  };
  if (!gathersPreviewData(outcome.supportedFileType, request.entry.fileSize)) {
    showText();
  } else {
    PreviewGatherResult gathered = getPreviewData(request.entry, request.source, previewThreadAbort);
    if (gathered.outcome == PreviewGatherOutcome::kReadFailed) {
      outcome.show = PreviewShow::kLoading;
      return outcome;
    }
    if (gathered.outcome == PreviewGatherOutcome::kAborted) {
      outcome.show = PreviewShow::kFailed;
      return outcome;
    }
    outcome.data = std::move(gathered.data);
    if (outcome.supportedFileType == SupportedFileType::kMovie) {
      outcome.show = PreviewShow::kMovie;
    } else if (probe.canInitWithData(outcome.data, outcome.extension)) {
      outcome.show = PreviewShow::kImage;
    } else {
      showText();
    }
  }
  if (previewThreadAbort) outcome.show = PreviewShow::kFailed;
  return outcome;
}

struct PreviewWorker::Shared {
  std::shared_ptr<const MediaProbe> probe;
  std::mutex mutex;
  std::condition_variable wake;
  std::optional<PreviewRequest> pending;
  std::uint64_t generation = 0;
  bool stop = false;
  std::atomic<bool> previewThreadAbort{false};
  Started started;  // cleared under the mutex when the owner goes
  Done done;
};

PreviewWorker::PreviewWorker(std::shared_ptr<const MediaProbe> probe, Started started, Done done)
    : shared_(std::make_shared<Shared>()) {
  shared_->probe = std::move(probe);
  shared_->started = std::move(started);
  shared_->done = std::move(done);
  std::thread(run, shared_).detach();
}

PreviewWorker::~PreviewWorker() {
  std::lock_guard lock(shared_->mutex);
  shared_->stop = true;
  shared_->pending.reset();
  shared_->previewThreadAbort = true;
  shared_->started = nullptr;
  shared_->done = nullptr;
  shared_->wake.notify_all();
}

std::uint64_t PreviewWorker::request(PreviewRequest request) {
  std::lock_guard lock(shared_->mutex);
  shared_->pending = std::move(request);
  shared_->previewThreadAbort = true;  // the running one stops at its next extent or chunk
  shared_->wake.notify_all();
  return ++shared_->generation;
}

void PreviewWorker::cancel() {
  std::lock_guard lock(shared_->mutex);
  shared_->pending.reset();
  ++shared_->generation;
  shared_->previewThreadAbort = true;
}

void PreviewWorker::run(const std::shared_ptr<Shared>& shared) {
  std::unique_lock lock(shared->mutex);
  while (true) {
    shared->wake.wait(lock, [&] { return shared->stop || shared->pending.has_value(); });
    if (shared->stop) return;
    PreviewRequest request = std::move(*shared->pending);
    shared->pending.reset();
    const std::uint64_t generation = shared->generation;
    shared->previewThreadAbort = false;
    if (shared->started) shared->started(generation);
    lock.unlock();
    PreviewOutcome outcome = previewSmall(request, *shared->probe, shared->previewThreadAbort);
    request = PreviewRequest{};  // lets go of the source before the outcome is shown
    lock.lock();
    if (shared->done) shared->done(generation, std::move(outcome));
  }
}

}  // namespace nua
