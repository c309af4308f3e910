#include "save/recover_to_folder.h"

#include <fnmatch.h>

#include <filesystem>

#include "base/text.h"
#include "records/entry_arena.h"
#include "view/detail/tree_walk.h"
#include "view/tree_find.h"

namespace nua {

namespace {

bool matchesAny(const std::vector<std::string>& globs, const std::string& path, const std::string& name) {
  for (const std::string& glob : globs) {
    const std::string& subject = glob.find('/') != std::string::npos ? path : name;
    if (::fnmatch(glob.c_str(), subject.c_str(), 0) == 0) return true;
  }
  return false;
}

}  // namespace

std::size_t markSelection(TreeViewState& view, const std::vector<std::string>& select) {
  view.showView(false, false);
  Entry* root = view.dirRootTemp();
  if (root == nullptr) return 0;
  const bool all = select.empty() || (select.size() == 1 && select[0] == "all");
  if (all) {
    view.setMark(root, true);
    return 1;
  }
  // "find:TEXT" marks every hit of find for TEXT, as its mark all button does.
  std::vector<std::string> patterns;
  std::size_t marked = 0;
  for (const std::string& word : select) {
    if (word.rfind("find:", 0) != 0) {
      patterns.push_back(word);
      continue;
    }
    for (Entry* hit : findAll(view, std::string_view(word).substr(5))) {
      view.setMark(hit, true);
      ++marked;
    }
  }
  if (patterns.empty()) return marked;
  const bool deleted = patterns.size() == 1 && patterns[0] == "deleted";
  std::vector<std::string> paths{""};  // path below the root of each folder being walked
  detail::walkTree(
      root,
      [&](Entry*, Entry* child) {
        const std::string name = toUtf8(EntryArena::fileNameOfDir(child).value_or(u""));
        const std::string path = paths.back().empty() ? name : paths.back() + "/" + name;
        const bool hit = deleted ? child->fileType == 2 && child->deleted == 1 : matchesAny(patterns, path, name);
        if (hit) {
          view.setMark(child, true);
          ++marked;
          return false;  // everything below a marked folder is marked with it
        }
        if (child->childList.empty()) return false;
        paths.push_back(path);
        return true;
      },
      [&](Entry*) { paths.pop_back(); });
  return marked;
}

RecoverResult recoverToFolder(Volume& volume, const RecoverRequest& request, UiBridge& ui, SaveProgressSink* sink) {
  RecoverResult result;
  if (volume.dirRoot == nullptr || !volume.arena) {
    result.message = "There is no recovered tree to save.";
    return result;
  }
  TreeViewState view(volume.arena, volume.dirRoot);
  markSelection(view, request.select);
  view.showView(request.fileTypesView, request.deletedOnly);
  if (!view.saveButtonEnabled() && view.markedFiles() == 0) {
    result.message = "Nothing is marked in this view: no file was saved.";
    return result;
  }
  std::error_code error;
  std::filesystem::create_directories(request.destination, error);
  SaveRun run(volume, view, ui);
  run.setProgressSink(sink);
  if (!run.saveData(false)) {
    result.message = "Saving was cancelled.";
    return result;
  }
  if (!run.checkDestination(request.destination)) {
    result.message = "The destination was refused.";
    return result;
  }
  result.report = run.saveFilesAndFolders(request.destination);
  result.saved = result.report.started;
  if (!result.saved) result.message = "Saving was cancelled.";
  return result;
}

}  // namespace nua
