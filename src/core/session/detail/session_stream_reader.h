// The tree stream of session and recovery files on the reading side: a bounded buffered input, the
// length-prefixed archive blobs, and the entry records with their names, paths and extents. Nothing
// read is trusted: every length and count is checked against what is left of the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "archive/keyed_value.h"
#include "records/entry_arena.h"
#include "records/key_table.h"
#include "session/session_file.h"
#include "session/session_record.h"

namespace nua::detail {

// The open file, read forward through a buffer, never past the size it had when opened.
class SessionInput {
 public:
  // `label` opens every reason given about this file ("session file").
  SessionInput(const std::string& path, std::string label);
  ~SessionInput();
  SessionInput(const SessionInput&) = delete;
  SessionInput& operator=(const SessionInput&) = delete;

  [[nodiscard]] bool isOpen() const { return fd_ >= 0 && size_ != 0; }
  [[nodiscard]] std::uint64_t size() const { return size_; }
  [[nodiscard]] std::uint64_t position() const { return position_; }
  [[nodiscard]] std::uint64_t remaining() const { return size_ - position_; }

  void seek(std::uint64_t offset);
  // Copies the next n bytes into out; false (and nothing consumed) when fewer are left or reading fails.
  [[nodiscard]] bool read(std::size_t n, std::byte* out);
  [[nodiscard]] bool readU32(std::uint32_t& value);
  [[nodiscard]] bool readU64(std::uint64_t& value);
  // "<label>: <what> at 0x<offset>".
  [[nodiscard]] std::string at(const char* what, std::uint64_t offset) const;

 private:
  bool fill();

  int fd_;
  std::string label_;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
  std::vector<std::byte> buffer_;
  std::size_t bufferStart_ = 0, bufferEnd_ = 0;
};

// A stored mode number as the controller takes it: limit or more stands for unset (-1).
[[nodiscard]] inline std::int32_t modeOrUnset(std::uint32_t stored, std::uint32_t limit) {
  return stored < limit ? static_cast<std::int32_t>(stored) : -1;
}

// One length-prefixed keyed archive whose end lies at or before `limit`.
[[nodiscard]] bool readBlob(SessionInput& in, std::uint64_t limit, KeyedValue& value, std::string& reason);

// Reads entry records. Each costs 96 bytes of the file, so neither the records made nor the frames
// kept can outgrow the file, and every walk ends when the file does.
class TreeReader {
 public:
  // With `folders`, the root and every folder read enter it under their stored selfPointer, so that
  // records appended later can find their parent.
  TreeReader(SessionInput& in, EntryArena& arena, SessionProgress* progress, IdentityEntryTable* folders = nullptr);

  // The root record and its whole subtree; null (with the reason) when any record is damaged.
  [[nodiscard]] Entry* readTree(std::string& reason);
  // One record with its name, path and extents, checked against its place: under `parent` (whose
  // stored identity is parentIdentity) or, with no parent, anywhere. Null with the reason when damaged.
  [[nodiscard]] Entry* readEntry(Entry* parent, std::uint64_t parentIdentity, SessionRecord& record,
                                 std::string& reason);

  [[nodiscard]] std::uint8_t rootSelected() const { return rootSelected_; }
  [[nodiscard]] std::uint32_t entriesRead() const { return entriesRead_; }

 private:
  bool readText(std::uint16_t length, std::u16string_view ifEmpty, std::u16string_view ifLong, Entry* dir,
                bool isPath, std::string& reason);
  void rememberFolder(const SessionRecord& record, Entry* dir);

  SessionInput& in_;
  EntryArena& arena_;
  SessionProgress* progress_;
  IdentityEntryTable* folders_;
  std::uint8_t rootSelected_ = 0;
  std::uint32_t entriesRead_ = 0;
};

}  // namespace nua::detail
