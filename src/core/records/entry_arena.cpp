// Record and name storage of one result.
#include "records/entry_arena.h"

#include <algorithm>
#include <limits>

namespace nua {

Entry* EntryArena::newDir() {
  Entry* dir = nullptr;
  if (!freeSlots_.empty()) {
    dir = freeSlots_.back();
    freeSlots_.pop_back();
  } else {
    if (usedInLastChunk_ == kRecordsPerChunk) {
      recordChunks_.push_back(std::make_unique<Entry[]>(kRecordsPerChunk));
      usedInLastChunk_ = 0;
    }
    dir = &recordChunks_.back()[usedInLastChunk_++];
  }
  byIdentity_.push_back(dir);
  dir->identity = byIdentity_.size();
  ++liveCount_;
  return dir;
}

Entry* EntryArena::byIdentity(std::uint64_t identity) const {
  if (identity == 0 || identity > byIdentity_.size()) return nullptr;
  return byIdentity_[identity - 1];
}

void EntryArena::release(Entry* dir) {
  byIdentity_[dir->identity - 1] = nullptr;
  *dir = Entry{};  // gives the vectors' memory back and marks the slot free (identity 0)
  freeSlots_.push_back(dir);
  --liveCount_;
}

void EntryArena::freeNDir(Entry* dir) {
  if (dir == nullptr || byIdentity(dir->identity) != dir) return;
  std::vector<Entry*> pending{dir};
  while (!pending.empty()) {
    Entry* current = pending.back();
    pending.pop_back();
    if (byIdentity(current->identity) != current) continue;  // already freed through another path
    for (Entry* child : current->childList) {
      if (child != nullptr) pending.push_back(child);
    }
    release(current);
  }
}

NameBlock EntryArena::storeName(std::u16string_view text) {
  const std::size_t nul = text.find(u'\0');
  if (nul != std::u16string_view::npos) text = text.substr(0, nul);
  text = text.substr(0, std::numeric_limits<std::uint16_t>::max());
  if (text.empty()) return {};

  char16_t* units = nullptr;
  if (text.size() <= nameUnitsLeft_) {
    units = nameCursor_;
    nameCursor_ += text.size();
    nameUnitsLeft_ -= text.size();
  } else if (text.size() > kUnitsPerNameChunk / 8) {
    // A long name gets a block of its own so it doesn't waste the rest of the current chunk.
    nameChunks_.push_back(std::make_unique_for_overwrite<char16_t[]>(text.size()));
    units = nameChunks_.back().get();
  } else {
    nameChunks_.push_back(std::make_unique_for_overwrite<char16_t[]>(kUnitsPerNameChunk));
    units = nameChunks_.back().get();
    nameCursor_ = units + text.size();
    nameUnitsLeft_ = kUnitsPerNameChunk - text.size();
  }
  std::copy(text.begin(), text.end(), units);
  return NameBlock{units, static_cast<std::uint16_t>(text.size())};
}

void EntryArena::setFileName(std::u16string_view text, Entry* dir) { dir->fileName = storeName(text); }
void EntryArena::setPathName(std::u16string_view text, Entry* dir) { dir->pathName = storeName(text); }
void EntryArena::setExtension(std::u16string_view text, Entry* dir) { dir->extension = storeName(text); }

namespace {
std::optional<std::u16string> textOf(const NameBlock& block) {
  if (block.length == 0 || block.units == nullptr) return std::nullopt;
  return std::u16string(block.units, block.length);
}
}  // namespace

std::optional<std::u16string> EntryArena::fileNameOfDir(const Entry* dir) { return textOf(dir->fileName); }
std::optional<std::u16string> EntryArena::pathNameOfDir(const Entry* dir) { return textOf(dir->pathName); }
std::optional<std::u16string> EntryArena::extensionOfDir(const Entry* dir) { return textOf(dir->extension); }

}  // namespace nua
