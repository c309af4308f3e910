// The passes that finish a tree after a scan: media filter, empty-folder removal, recount, deleted
// lists, names; and the name-clash rule used when late entries arrive.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "records/entry.h"

namespace nua {

class EntryArena;

// Given a name extension (text after the last "."), true for the media kinds only. Case does not
// matter; the length decides which list is asked, and "mpeg" stands with the three-unit names, so a
// four-letter ".mpeg" is not media.
[[nodiscard]] bool isMediaFile(std::u16string_view extension);

// Drops every file below dir that isn't media, lowering the counts of its folder and all ancestors.
// Folders stay; the next pass removes the emptied ones.
void removeNonMediaFilesAndFolders(Entry* dir, EntryArena& arena);
// Drops every folder below dir whose size is 0, and every folder whose name begins with "." other than
// ".Trashes" and ".Trash" (and names that begin with those letters), whatever it holds.
void removeZeroSizeFolders(Entry* dir, EntryArena& arena);
// Recomputes fileSize, fileCount, childrenCount of every folder from the files themselves, sets every
// parent pointer, and spreads a file's deleted flag to all its ancestors.
void rearrangeTreeFromDir(Entry* dir);
// Appends each deleted child to its folder's deletedList, all the way down.
void rearrangeDeletedTree(Entry* dir);
// Names each nameless entry "Untitled".
void fixNilFileNames(Entry* dir, EntryArena& arena);
// Kept for its callers: the tree needs no path repair.
void fixPathNames(Entry* dir);

// The first child of each folder under each name, kept up to date as children are appended, so that
// a clash costs one lookup instead of a walk of the folder.
class FolderNameIndex {
 public:
  // The first child of dir (in list order) named `name`, or null.
  [[nodiscard]] Entry* firstChildNamed(Entry* dir, const std::u16string& name);

 private:
  struct Names {
    std::size_t indexed = 0;
    std::unordered_map<std::u16string, Entry*> first;
  };
  std::unordered_map<const Entry*, Names> folders_;
};

// The name to give `name` in `parent` so that it doesn't clash: unchanged when no child has it;
// otherwise "_" goes after the second-last dot-separated piece (or at the end), once more than the
// holder's repeatCount, and the holder's repeatCount goes up. a.txt gives a_.txt, then a__.txt.
[[nodiscard]] std::u16string suggestedRepeatFileName(const std::u16string& name, Entry* parent,
                                                     FolderNameIndex& index);

}  // namespace nua
