// The finishing passes over a scanned tree. They walk with their own stack, parents before their
// children, so a deep tree can't exhaust the thread's stack.
#include "records/tree_cleanup.h"

#include <array>
#include <cctype>
#include <vector>

#include "records/entry_arena.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

std::u16string nameOf(const Entry* dir) {
  return dir->fileName.length == 0 ? std::u16string() : std::u16string(dir->fileName.units, dir->fileName.length);
}

bool equalsIgnoringCase(std::u16string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const char16_t unit = a[i];
    if (unit > 0x7F) return false;
    if (std::tolower(static_cast<unsigned char>(unit)) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

// Visits dir and every folder below it that `descend` admits, each folder before its children.
template <class Visit, class Descend>
void walkFolders(Entry* dir, Visit visit, Descend descend) {
  std::vector<Entry*> stack{dir};
  std::size_t steps = 0;
  while (!stack.empty() && steps++ < kMaxTreeWalkSteps) {
    Entry* folder = stack.back();
    stack.pop_back();
    visit(folder);
    // Pushed in reverse so that children come off the stack in list order.
    for (std::size_t i = folder->childList.size(); i-- > 0;) {
      Entry* child = folder->childList[i];
      if (child != nullptr && descend(child)) stack.push_back(child);
    }
  }
}

void lowerChain(Entry* first, std::uint32_t files, std::uint32_t children, std::uint64_t size, bool withSize) {
  std::size_t steps = 0;
  for (Entry* a = first; a != nullptr && steps < kMaxTreeWalkDepth; a = a->parent, ++steps) {
    a->fileCount -= files;
    a->childrenCount -= children;
    if (withSize) a->fileSize -= size;
  }
}

}  // namespace

bool isMediaFile(std::u16string_view extension) {
  static constexpr std::array<std::string_view, 2> kTwo{"ra", "rm"};
  // "mpeg" stands here with the three-unit names and so never matches.
  static constexpr std::array<std::string_view, 38> kThree{
      "MTS", "bmp", "jpg", "gif", "png", "tif", "psd", "amr", "aif", "3g2", "3gp", "m4v", "m4a",
      "m4b", "mid", "mov", "mp3", "mp4", "mpg", "mpeg", "wav", "arw", "sr2", "kdc", "k25", "dcr",
      "pef", "dng", "cr2", "nef", "orf", "raw", "3fr", "crw", "raf", "mrw", "x3f", "avi"};
  static constexpr std::array<std::string_view, 6> kFour{"indd", "indt", "indb", "jpeg", "tiff", "aiff"};
  auto inList = [&](const auto& list) {
    for (std::string_view known : list)
      if (equalsIgnoringCase(extension, known)) return true;
    return false;
  };
  switch (extension.size()) {
    case 2: return inList(kTwo);
    case 3: return inList(kThree);
    case 4: return inList(kFour);
    default: return false;
  }
}

void removeNonMediaFilesAndFolders(Entry* dir, EntryArena& arena) {
  walkFolders(
      dir,
      [&](Entry* folder) {
        for (std::uint32_t i = 0; i < folder->childList.size();) {
          Entry* child = folder->childList[i];
          if (child == nullptr || child->fileType != 2) {
            ++i;
            continue;
          }
          const std::u16string name = nameOf(child);
          const auto dot = name.rfind(u'.');
          const std::u16string_view extension =
              dot == std::u16string::npos ? std::u16string_view() : std::u16string_view(name).substr(dot + 1);
          if (dot != std::u16string::npos && extension.size() >= 2 && extension.size() <= 4 && isMediaFile(extension)) {
            ++i;
            continue;
          }
          lowerChain(folder, 1, 1, child->fileSize, true);
          removeChildAtIndex(i, folder, arena, TreeSide::kVolume);
        }
      },
      [](Entry* child) { return child->childListCount() != 0; });
}

void removeZeroSizeFolders(Entry* dir, EntryArena& arena) {
  if (dir->childrenCount == 0) return;
  walkFolders(
      dir,
      [&](Entry* folder) {
        for (std::uint32_t i = 0; i < folder->childList.size();) {
          Entry* child = folder->childList[i];
          if (child == nullptr || child->fileType != 1) {
            ++i;
            continue;
          }
          const std::u16string name = nameOf(child);
          const bool hidden = !name.empty() && name[0] == u'.' && name.rfind(u".Trashes", 0) != 0 &&
                              name.rfind(u".Trash", 0) != 0;
          if (child->fileSize != 0 && !hidden) {
            ++i;
            continue;
          }
          lowerChain(folder, child->fileCount, child->childrenCount + 1, 0, false);
          removeChildAtIndex(i, folder, arena, TreeSide::kVolume);
        }
      },
      [](Entry* child) { return child->childrenCount != 0; });
}

void rearrangeTreeFromDir(Entry* dir) {
  walkFolders(
      dir,
      [](Entry* folder) {
        folder->fileSize = 0;
        folder->fileCount = 0;
        folder->childrenCount = 0;
        folder->dataExt.clear();
        for (Entry* child : folder->childList) {
          if (child == nullptr) continue;
          child->parent = folder;
          std::size_t steps = 0;
          if (child->fileType == 1) {
            for (Entry* a = folder; a != nullptr && steps < kMaxTreeWalkDepth; a = a->parent, ++steps) ++a->childrenCount;
          } else if (child->fileType == 2) {
            child->fileCount = 1;
            child->childrenCount = 0;
            for (Entry* a = folder; a != nullptr && steps < kMaxTreeWalkDepth; a = a->parent, ++steps) {
              if (child->deleted == 1) a->deleted = 1;
              a->fileSize += child->fileSize;
              ++a->fileCount;
              ++a->childrenCount;
            }
          }
        }
      },
      [](Entry* child) { return child->fileType == 1; });
}

void rearrangeDeletedTree(Entry* dir) {
  walkFolders(
      dir,
      [](Entry* folder) {
        for (Entry* child : folder->childList)
          if (child != nullptr && child->deleted == 1) addChildDeletedArray(child, folder);
      },
      [](Entry* child) { return child->fileType == 1; });
}

void fixNilFileNames(Entry* dir, EntryArena& arena) {
  walkFolders(
      dir,
      [&](Entry* folder) {
        for (Entry* child : folder->childList)
          if (child != nullptr && child->fileNameLength() == 0) arena.setFileName(u"Untitled", child);
      },
      [](Entry* child) { return child->childrenCount != 0; });
}

void fixPathNames(Entry* /*dir*/) {}

Entry* FolderNameIndex::firstChildNamed(Entry* dir, const std::u16string& name) {
  Names& names = folders_[dir];
  if (names.indexed > dir->childList.size()) names = Names{};  // children were removed: start again
  for (; names.indexed < dir->childList.size(); ++names.indexed) {
    Entry* child = dir->childList[names.indexed];
    if (child != nullptr) names.first.try_emplace(nameOf(child), child);
  }
  auto found = names.first.find(name);
  return found == names.first.end() ? nullptr : found->second;
}

std::u16string suggestedRepeatFileName(const std::u16string& name, Entry* parent, FolderNameIndex& index) {
  if (parent->childList.empty()) return name;
  Entry* holder = index.firstChildNamed(parent, name);
  if (holder == nullptr) return name;
  std::u16string result = name;
  for (std::uint32_t round = 0; round < static_cast<std::uint32_t>(holder->repeatCount) + 1; ++round) {
    const auto lastDot = result.rfind(u'.');
    if (lastDot == std::u16string::npos) {
      result += u'_';
    } else {
      // Joining the pieces again with "_" after the second-last one puts it just before the last dot.
      result.insert(lastDot, 1, u'_');
    }
  }
  ++holder->repeatCount;
  return result;
}

}  // namespace nua
