// Owner of every record and name block of one result: records sit in fixed chunks so their addresses
// never move, names in a bump allocator, and each record carries an identity that sessions can store.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "records/entry.h"

namespace nua {

class EntryArena {
 public:
  EntryArena() = default;
  EntryArena(const EntryArena&) = delete;
  EntryArena& operator=(const EntryArena&) = delete;
  EntryArena(EntryArena&&) noexcept = default;
  EntryArena& operator=(EntryArena&&) noexcept = default;
  ~EntryArena() = default;

  // A zero-filled record with a fresh identity (1, 2, 3, ... never reused, even for a reused slot).
  [[nodiscard]] Entry* newDir();

  // The live record with this identity, or null when it was never issued or has been freed.
  [[nodiscard]] Entry* byIdentity(std::uint64_t identity) const;

  [[nodiscard]] std::size_t liveCount() const { return liveCount_; }

  // Frees the record, every record below it through childList, and all their cells. Walks with its
  // own stack, so any depth is fine; a record reached twice (a cycle or a shared child in damaged
  // data) is freed once. A record that is not live in this arena is ignored. The parent's lists are
  // not touched: detach the record first. Name blocks are reclaimed only with the arena.
  void freeNDir(Entry* dir);

  // Store a copy of the text cut at the first NUL unit, and at 65535 units. Empty text, or text
  // that begins with NUL, leaves length 0 and no block.
  void setFileName(std::u16string_view text, Entry* dir);
  void setPathName(std::u16string_view text, Entry* dir);
  void setExtension(std::u16string_view text, Entry* dir);

  // The stored text, or nullopt when its length is 0.
  [[nodiscard]] static std::optional<std::u16string> fileNameOfDir(const Entry* dir);
  [[nodiscard]] static std::optional<std::u16string> pathNameOfDir(const Entry* dir);
  [[nodiscard]] static std::optional<std::u16string> extensionOfDir(const Entry* dir);

 private:
  static constexpr std::size_t kRecordsPerChunk = 4096;
  static constexpr std::size_t kUnitsPerNameChunk = 64 * 1024;

  [[nodiscard]] NameBlock storeName(std::u16string_view text);
  void release(Entry* dir);

  std::vector<std::unique_ptr<Entry[]>> recordChunks_;
  std::size_t usedInLastChunk_ = kRecordsPerChunk;
  std::vector<Entry*> freeSlots_;
  std::vector<Entry*> byIdentity_;  // index identity - 1; null once freed
  std::size_t liveCount_ = 0;

  std::vector<std::unique_ptr<char16_t[]>> nameChunks_;
  char16_t* nameCursor_ = nullptr;
  std::size_t nameUnitsLeft_ = 0;
};

}  // namespace nua
