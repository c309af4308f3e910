// Shared by the session tests: a scratch folder removed at the end of the process, whole-file reads
// and writes, and a small result tree built in code.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "records/entry_arena.h"
#include "records/entry_ops.h"
#include "records/tree_cleanup.h"

namespace nua::testing_session {

inline const std::filesystem::path& scratch() {
  struct Folder {
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("nua-session-tests-" + std::to_string(::getpid()));
    Folder() { std::filesystem::create_directories(path); }
    ~Folder() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
  };
  static const Folder folder;
  return folder.path;
}

inline std::string readAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void writeAll(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Folders and files counted on their ancestors as a scan counts them, deleted lists built at the end.
struct SmallTree {
  SmallTree() : arena(std::make_shared<EntryArena>()), root(makeRootDir(*arena, nullptr)) {}

  Entry* add(Entry* parent, const std::u16string& name, std::uint16_t type, std::uint64_t size = 0,
              bool deleted = false) {
    Entry* dir = arena->newDir();
    arena->setFileName(name, dir);
    dir->fileType = type;
    dir->fileID = nextID++;
    dir->parentID = parent->fileID;
    dir->deleted = deleted ? 1 : 0;
    dir->parent = parent;
    dir->sectorsPerBlock = 8;
    dir->createDate = 3'700'000'000u + dir->fileID;
    dir->modDate = 3'700'000'100u + dir->fileID;
    addChild(dir, parent);
    if (type == 1) {
      std::u16string path = EntryArena::pathNameOfDir(parent).value_or(u"") + u"/" +
                            EntryArena::fileNameOfDir(parent).value_or(u"");
      arena->setPathName(path, dir);
      raiseAncestorCountsForFolder(dir);
    } else {
      dir->fileSize = size;
      dir->fileCount = 1;
      dir->complete = 1;
      raiseAncestorCountsForFile(dir);
      if (deleted)
        for (Entry* up = parent; up != nullptr; up = up->parent) up->deleted = 1;
    }
    return dir;
  }
  void finish() { rearrangeDeletedTree(root); }

  std::shared_ptr<EntryArena> arena;
  Entry* root;
  std::uint32_t nextID = 16;
};

}  // namespace nua::testing_session
