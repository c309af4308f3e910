#include "save_option.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "base/text.h"
#include "view/tree_find.h"
#include "view/tree_view_state.h"

namespace nua::cli {

namespace {

// "Saved: ..." with the elapsed time, on one line of a terminal or one line a second otherwise.
class StderrSaveProgress : public SaveProgressSink {
 public:
  explicit StderrSaveProgress(bool quiet) : quiet_(quiet), terminal_(isatty(2) != 0) {}
  void updateTreeProgress(std::uint64_t savedData) override {
    saved_ = savedDataText(savedData);
    show();
  }
  void elapsedTime(const std::string& text) override {
    elapsed_ = text;
    show();
  }
  void finish() {
    if (shown_ && terminal_) std::fputc('\n', stderr);
  }

 private:
  void show() {
    if (quiet_ || saved_.empty()) return;
    shown_ = true;
    const std::string line = saved_ + " | elapsed " + (elapsed_.empty() ? "0:00:00:00" : elapsed_);
    std::fprintf(stderr, terminal_ ? "\r%-60s" : "%s\n", line.c_str());
  }
  bool quiet_;
  bool terminal_;
  bool shown_ = false;
  std::string saved_, elapsed_;
};

}  // namespace

void printFindHits(Volume& volume, const SaveOptions& save) {
  if (save.find.empty() || volume.dirRoot == nullptr || !volume.arena) return;
  TreeViewState view(volume.arena, volume.dirRoot);
  for (const std::string& text : save.find) {
    const std::vector<Entry*> hits = findAll(view, text);
    std::printf("%s\n", findMatchesText(hits.size()).c_str());
    for (const Entry* hit : hits) std::printf("  %s\n", pathBelowRoot(hit).c_str());
  }
}

std::vector<std::string> takeSaveOptions(const std::vector<std::string>& args, SaveOptions& save) {
  std::vector<std::string> rest;
  bool lastWordIsTarget = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& word = args[i];
    if (word == "--find") {
      if (i + 1 >= args.size()) {
        save.error = "--find needs a text";
        return rest;
      }
      save.find.push_back(args[++i]);
    } else if (word == "--save" || word == "--view") {
      if (i + 1 >= args.size()) {
        save.error = word + " needs a value";
        return rest;
      }
      const std::string& value = args[++i];
      if (word == "--save") {
        save.requested = true;
        save.request.destination = value;
      } else if (value == "data" || value == "types") {
        save.request.fileTypesView = value == "types";
      } else {
        save.error = "--view takes data or types";
      }
    } else if (word == "--deleted-only") {
      save.request.deletedOnly = true;
    } else if (word == "--select") {
      std::size_t taken = 0;
      while (i + 1 < args.size() && args[i + 1].rfind("--", 0) != 0) {
        save.request.select.push_back(args[++i]);
        ++taken;
      }
      if (taken == 0) save.error = "--select needs all, deleted or a pattern";
      lastWordIsTarget = i + 1 == args.size();
    } else {
      rest.push_back(word);
    }
  }
  const bool hasTarget = std::any_of(rest.begin(), rest.end(), [](const std::string& w) { return w.rfind("--", 0) != 0; });
  if (lastWordIsTarget && !hasTarget && save.request.select.size() > 1) {
    rest.push_back(save.request.select.back());
    save.request.select.pop_back();
  }
  if (!save.requested && save.error.empty() &&
      (!save.request.select.empty() || save.request.fileTypesView || save.request.deletedOnly)) {
    save.error = "--select, --view and --deleted-only go with --save DIR";
  }
  return rest;
}

int saveAfterScan(Volume& volume, const SaveOptions& save, UiBridge& ui, bool quiet) {
  StderrSaveProgress progress(quiet);
  const RecoverResult result = recoverToFolder(volume, save.request, ui, &progress);
  progress.finish();
  if (!result.saved) {
    std::printf("%s\n", result.message.c_str());
    return 1;
  }
  const SaveReport& report = result.report;
  std::printf("%s\n%s\n", report.finalAlert.title.c_str(), report.finalAlert.text.c_str());
  std::printf("Files saved: %u, failed: %u\n", report.savedFiles, report.failedCount);
  for (const SaveFailure& failed : report.failures) {
    std::printf("Failed: %s: %s\n", failed.path.c_str(), failed.reason.c_str());
  }
  std::fflush(stdout);
  return report.aborted || report.failedCount != 0 ? 1 : 0;
}

}  // namespace nua::cli
