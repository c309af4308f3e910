// EntryViewHelper: what the outline holds for one shown record. Helpers are made lazily, only for
// rows that are shown, and read every fact but the shown name through to the record.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "records/entry.h"

namespace nua {

// The text behind the last "." of a name; the whole name when it holds no dot; empty when the name
// ends in a dot or is empty.
[[nodiscard]] std::u16string_view extensionOfName(std::u16string_view name);

class EntryViewHelper {
 public:
  EntryViewHelper() = default;
  // Links helper and record both ways and takes the shown name and extension from the record's name.
  explicit EntryViewHelper(Entry* dir);
  // Only links both ways and sets the flag; the name is set later with setFileName.
  EntryViewHelper(Entry* dir, std::uint8_t appendChildrenArrayCount);
  EntryViewHelper(const EntryViewHelper&) = delete;
  EntryViewHelper& operator=(const EntryViewHelper&) = delete;

  // Takes the shown name and extension from the record's stored name again.
  void updateFileName();

  [[nodiscard]] Entry* newDir() const { return newDir_; }
  void setEntry(Entry* dir) { newDir_ = dir; }
  [[nodiscard]] const std::u16string& fileName() const { return fileName_; }
  // Replaces the shown name only; the record keeps its own.
  void setFileName(std::u16string_view name) { fileName_ = name; }
  [[nodiscard]] const std::u16string& extension() const { return extension_; }
  [[nodiscard]] std::uint8_t appendChildrenArrayCount() const { return appendChildrenArrayCount_; }

  [[nodiscard]] std::uint8_t isFATEntry() const { return newDir_->isFATEntry; }
  [[nodiscard]] std::uint8_t deleted() const { return newDir_->deleted; }
  [[nodiscard]] std::uint8_t complete() const { return newDir_->complete; }
  [[nodiscard]] std::uint16_t fileType() const { return newDir_->fileType; }
  [[nodiscard]] std::uint32_t createDate() const { return newDir_->createDate; }
  [[nodiscard]] std::uint32_t modDate() const { return newDir_->modDate; }
  [[nodiscard]] Entry* pndirPointer() const { return newDir_->parent; }
  [[nodiscard]] std::uint64_t fileSize() const { return newDir_->fileSize; }
  [[nodiscard]] std::uint32_t fileCount() const { return newDir_->fileCount; }
  [[nodiscard]] std::uint8_t selected() const { return newDir_->selected; }
  [[nodiscard]] std::uint32_t childrenCount() const { return newDir_->childrenCount; }
  [[nodiscard]] std::uint32_t childrenArrayCount() const { return newDir_->childListCount(); }
  [[nodiscard]] bool expandable() const { return newDir_->childListCount() != 0; }
  // The record's child at index in childList as it stands, or null past the end.
  [[nodiscard]] Entry* childAtIndex(std::uint32_t index) const;

 private:
  Entry* newDir_ = nullptr;
  std::u16string fileName_;
  std::u16string extension_;
  std::uint8_t appendChildrenArrayCount_ = 0;
};

// The name a record is shown and saved under: its helper's name when it has a helper, else its own.
[[nodiscard]] std::u16string shownNameOfDir(const Entry* dir);

}  // namespace nua
