#include "session/session_tree.h"

#include <string>
#include <vector>

#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua {
namespace {

// What every copy keeps. The ids, complete flag and dates go along too: they are in the file, and a
// reopened entry would otherwise show 0 and empty dates where the scan showed the real ones.
void copyCommonFields(const Entry* from, Entry* to) {
  to->fileType = from->fileType;
  to->fileName = from->fileName;  // name blocks live as long as the arena, so the copy shares them
  to->deleted = from->deleted;
  to->sectorsPerBlock = from->sectorsPerBlock;
  to->blockBaseSector = from->blockBaseSector;
  to->isFATEntry = from->isFATEntry;
  to->selected = from->selected;
  to->fileID = from->fileID;
  to->parentID = from->parentID;
  to->complete = from->complete;
  to->createDate = from->createDate;
  to->modDate = from->modDate;
}

}  // namespace

void readFromDirAddToDir(const Entry* from, Entry* to, EntryArena& arena) {
  struct Frame {
    const Entry* from;
    Entry* to;
    std::size_t next = 0;
    std::uint64_t size = 0;
    std::uint32_t files = 0;
    std::uint32_t children = 0;
    bool deletedFileBelow = false;
  };
  std::vector<Frame> stack{{from, to}};
  std::size_t steps = 0;
  const auto settle = [](const Frame& frame) {
    frame.to->fileSize = frame.size;
    frame.to->fileCount = frame.files;
    frame.to->childrenCount = frame.children;
    if (frame.deletedFileBelow) frame.to->deleted = 1;
  };
  while (!stack.empty()) {
    Frame& top = stack.back();
    if (top.next >= top.from->childList.size() || stack.size() > kMaxTreeWalkDepth || steps >= kMaxTreeWalkSteps) {
      const Frame done = top;
      stack.pop_back();
      settle(done);
      if (stack.empty()) break;
      Frame& up = stack.back();
      up.size += done.size;
      up.files += done.files;
      up.children += done.children;
      up.deletedFileBelow |= done.deletedFileBelow;
      continue;
    }
    const Entry* source = top.from->childList[top.next++];
    if (source == nullptr) continue;
    ++steps;
    Entry* copy = arena.newDir();
    copyCommonFields(source, copy);
    copy->parent = top.to;
    addChild(copy, top.to);
    ++top.children;
    if (source->fileType != 1) {
      copy->fileSize = source->fileSize;
      copy->fileCount = 1;
      copy->dataExt = source->dataExt;
      top.size += source->fileSize;
      ++top.files;
      if (source->deleted == 1) top.deletedFileBelow = true;
      continue;
    }
    std::u16string path = EntryArena::pathNameOfDir(top.to).value_or(u"");
    path += u'/';
    path += EntryArena::fileNameOfDir(top.to).value_or(u"");
    arena.setPathName(path, copy);
    stack.push_back({source, copy});
  }
}

Entry* setSelectedVolumeDirRoot(Entry* readRoot, EntryArena& arena) {
  Entry* root = makeRootDir(arena, nullptr);
  if (readRoot == nullptr) return root;
  root->sectorsPerBlock = readRoot->sectorsPerBlock;
  // The root's own mark and flags are part of the result too (the save button reads its mark).
  root->selected = readRoot->selected;
  root->deleted = readRoot->deleted;
  root->isFATEntry = readRoot->isFATEntry;
  root->blockBaseSector = readRoot->blockBaseSector;
  root->complete = readRoot->complete;
  root->createDate = readRoot->createDate;
  root->modDate = readRoot->modDate;
  readFromDirAddToDir(readRoot, root, arena);
  arena.freeNDir(readRoot);
  rearrangeDeletedTree(root);
  return root;
}

}  // namespace nua
