// Find over a large result: a tree of FOLDERS folders of FILES files each ("file123.jpg", 10^6 entries
// by default) is built in memory, and the search walks it on a worker as the tree screen's does, with
// the hits handed over in batches. Prints the time to all hits for a text every name holds, one in a
// thousand holds, and one no name holds; then stepping through and marking all the hits.
// usage: find-bench [FOLDERS] [FILES]
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

#include "base/text.h"
#include "records/entry_arena.h"
#include "records/entry_ops.h"
#include "view/tree_find.h"
#include "view/tree_view_state.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// The search on a worker; the calling thread takes the batches as the window's thread would.
double timeToAllHits(nua::TreeViewState& view, const std::string& text, nua::TreeFind& find) {
  (void)find.find();
  find.searchStarted();
  std::atomic<bool> abort{false};
  std::mutex mutex;
  std::vector<std::vector<nua::Entry*>> inbox;
  std::atomic<bool> done{false};
  const auto start = Clock::now();
  std::thread worker([&] {
    nua::findStringInDir(nua::toUtf16(text), view.dirRootTemp(), nua::shownFolderNamesOf(view), abort,
                         [&](std::vector<nua::Entry*> batch) {
                           std::lock_guard lock(mutex);
                           inbox.push_back(std::move(batch));
                         });
    done = true;
  });
  std::size_t batches = 0;
  for (bool last = false; !last;) {
    last = done;
    std::vector<std::vector<nua::Entry*>> taken;
    {
      std::lock_guard lock(mutex);
      taken.swap(inbox);
    }
    for (const auto& batch : taken) (void)find.addHits(batch);
    batches += taken.size();
    if (!last) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  worker.join();
  (void)find.searchComplete();
  const double seconds = secondsSince(start);
  std::printf("find \"%s\": %zu hits in %zu batches, %.3f s to all hits\n", text.c_str(), find.findArray().size(),
              batches, seconds);
  return seconds;
}

}  // namespace

int main(int argc, char** argv) {
  const long folders = argc > 1 ? std::atol(argv[1]) : 1000;
  const long files = argc > 2 ? std::atol(argv[2]) : 999;
  auto arena = std::make_shared<nua::EntryArena>();
  nua::Entry* root = nua::makeRootDir(*arena, nullptr);
  const auto buildStart = Clock::now();
  for (long f = 0; f < folders; ++f) {
    nua::Entry* folder = arena->newDir();
    arena->setFileName(nua::toUtf16("folder" + std::to_string(f)), folder);
    folder->fileType = 1;
    folder->parent = root;
    nua::addChild(folder, root);
    nua::raiseAncestorCountsForFolder(folder);
    for (long i = 0; i < files; ++i) {
      nua::Entry* file = arena->newDir();
      arena->setFileName(nua::toUtf16("file" + std::to_string(f * files + i) + ".jpg"), file);
      file->fileType = 2;
      file->fileSize = 1000;
      file->fileCount = 1;
      file->parent = folder;
      nua::addChild(file, folder);
      nua::raiseAncestorCountsForFile(file);
    }
  }
  std::printf("tree of %ld entries built in %.3f s\n", folders * (files + 1) + 1, secondsSince(buildStart));
  nua::TreeViewState view(arena, root);
  nua::TreeFind find;
  (void)timeToAllHits(view, "FILE", find);
  const auto stepStart = Clock::now();
  for (std::size_t i = 0; i < find.findArray().size(); ++i) (void)find.findNext();
  std::printf("next through all hits: %.3f s\n", secondsSince(stepStart));
  const auto markStart = Clock::now();
  (void)find.markAllFound(view);
  std::printf("mark all: %.3f s, %s marked\n", secondsSince(markStart), view.textFieldMarkedData().c_str());
  nua::TreeFind rare;
  (void)timeToAllHits(view, "999.jp", rare);
  nua::TreeFind none;
  (void)timeToAllHits(view, "no such name", none);
  return 0;
}
