#include "tree_output.h"

#include <iostream>
#include <vector>

#include "base/dict.h"
#include "base/text.h"
#include "records/entry_arena.h"

namespace nua::cli {
namespace {

std::string nameText(const Entry* dir) { return toUtf8(EntryArena::fileNameOfDir(dir).value_or(u"")); }

// Parents before children, with their depth and path, by an explicit stack that holds one frame per
// level, so a folder of a million entries costs no more than one.
template <class Visit>
void walkTree(const Entry* root, Visit visit) {
  struct Frame {
    const Entry* dir;
    std::size_t next;
    std::size_t pathLength;
  };
  std::string path = nameText(root);
  visit(root, 0, path);
  std::vector<Frame> stack{{root, 0, path.size()}};
  while (!stack.empty()) {
    Frame& top = stack.back();
    if (top.next >= top.dir->childList.size()) {
      stack.pop_back();
      continue;
    }
    const Entry* child = top.dir->childList[top.next++];
    if (child == nullptr) continue;
    path.resize(top.pathLength);
    path += "/" + nameText(child);
    visit(child, static_cast<int>(stack.size()), path);
    if (!child->childList.empty()) stack.push_back({child, 0, path.size()});
  }
}

void printJsonLine(const Entry* dir, const std::string& path) {
  std::string extents = "[";
  for (std::size_t i = 0; i < dir->dataExt.size(); ++i)
    extents += (i ? ",[" : "[") + std::to_string(dir->dataExt[i].startBlock) + "," +
               std::to_string(dir->dataExt[i].blockCount) + "]";
  extents += "]";
  std::string line = "{\"path\":" + jsonQuote(path) + ",\"name\":" + jsonQuote(nameText(dir)) +
                     ",\"id\":" + std::to_string(dir->fileID) + ",\"parentID\":" + std::to_string(dir->parentID) +
                     ",\"folder\":" + (dir->fileType == 1 ? "true" : "false") + ",\"size\":" +
                     std::to_string(dir->fileSize) + ",\"deleted\":" + (dir->deleted ? "true" : "false") +
                     ",\"complete\":" + (dir->complete ? "true" : "false") + ",\"createDate\":" +
                     std::to_string(dir->createDate) + ",\"modDate\":" + std::to_string(dir->modDate) +
                     ",\"blockBaseSector\":" + std::to_string(dir->blockBaseSector) +
                     ",\"sectorsPerBlock\":" + std::to_string(dir->sectorsPerBlock) + ",\"extents\":" + extents + "}\n";
  std::fwrite(line.data(), 1, line.size(), stdout);
}

}  // namespace

void printTree(const Entry* root, const Volume& volume, const TreeOutput& output) {
  std::fflush(stdout);
  if (output.json) {
    walkTree(root, [](const Entry* dir, int, const std::string& path) { printJsonLine(dir, path); });
    std::fflush(stdout);
    Dict totals{{"Folders", volume.counters.folderCount},
                {"Files", volume.counters.fileCount},
                {"Entries Found", volume.counters.entryCount},
                {"Data", volume.counters.dataSize},
                {"Note", output.note}};
    std::cout << "{\"summary\":" << toJson(totals) << "}\n";
  } else {
    if (output.list)
      walkTree(root, [](const Entry* dir, int depth, const std::string&) {
        std::cout << std::string(static_cast<std::size_t>(depth) * 2, ' ') << nameText(dir) << "  "
                  << sizeText(dir->fileSize) << (dir->deleted ? "  D" : "") << "\n";
      });
    std::cout << "Folders: " << volume.counters.folderCount << ", Files: " << volume.counters.fileCount
              << ", Entries Found: " << volume.counters.entryCount << ", Data: " << sizeText(volume.counters.dataSize) << "\n";
    std::cout << output.treeTotal << "\n";
    if (!output.note.empty()) std::cout << output.note << "\n";
  }
  std::cout.flush();
}

}  // namespace nua::cli
