// Gives each find of a search its record in the result tree: a folder per format or per extension,
// the file's name and extent, the counts of the folders above it, and each new record handed to the
// recovery record file at once, so a crash loses nothing already found.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "records/entry.h"
#include "records/entry_arena.h"
#include "signature/signature_scan_engine.h"

namespace nua {

// Where new records go as they are made (the recovery record file); a folder always before its first
// child.
class CarvedRecordWriter {
 public:
  virtual ~CarvedRecordWriter() = default;
  virtual void writeEntry(const Entry& entry) = 0;
  // Called after each find's records are written.
  virtual void synchronise() = 0;
};
class NullCarvedRecordWriter final : public CarvedRecordWriter {
 public:
  void writeEntry(const Entry& /*entry*/) override {}
  void synchronise() override {}
};

// The counts the progress shows.
struct CarveCounters {
  std::uint64_t fileCount = 0;
  std::uint64_t folderCount = 0;
  std::uint64_t entryCount = 0;
  std::uint64_t dataSize = 0;
};

// The folder of a file-check format: its title and extension with the dot ("JPG Files", ".jpg").
struct FileCheckFolderName {
  std::string_view title;
  std::string_view extension;
};
// By the check's parentKey; nothing for an unknown key.
[[nodiscard]] const FileCheckFolderName* fileCheckFolderName(std::string_view parentKey);

struct CarvedRegistrarSetup {
  EntryArena* arena = nullptr;
  Entry* root = nullptr;            // the tree's root; children are added below it
  std::uint32_t* maxFileID = nullptr;  // the running id source, raised for each record
  CarvedRecordWriter* writer = nullptr;
  std::uint32_t bytesPerSector = 512;
  std::uint64_t deviceBytes = 0;    // a foundSize at or past this is not believed
  bool resumed = false;             // a resumed search finds its folders again by title
};

class CarvedEntryRegistrar final : public CarvedFindSink {
 public:
  explicit CarvedEntryRegistrar(const CarvedRegistrarSetup& setup);

  void addSignatureFind(const CarvedPosition& at, const Sig& row, FormatContext& context) override;
  void addFileCheckFind(const CarvedPosition& at, const FileCheck& check, std::uint64_t sizeBytes) override;
  void addRawJpgFind(const CarvedPosition& at, std::uint32_t extraBytes, std::uint64_t sizeBytes) override;

  [[nodiscard]] const CarveCounters& counters() const { return counters_; }
  // The size a signature find is given: its found size when believable, else the row's maximum.
  [[nodiscard]] std::uint64_t sizeOfSignatureFind(const Sig& row) const;

 private:
  [[nodiscard]] Entry* newRecord(std::uint16_t fileType, const std::u16string& name, Entry* parent);
  [[nodiscard]] Entry* fileCheckFolder(std::string_view parentKey, std::string_view extensionOverride);
  void addCarvedFile(Entry* folder, const std::u16string& name, std::uint64_t recordedSector,
                     std::uint64_t sizeBytes, std::uint32_t extraBytes, bool raiseRootSize);
  [[nodiscard]] Entry* extensionFolder(const std::string& extension, bool& created);
  [[nodiscard]] Entry* folderPath(const std::string& path);
  void setExtent(Entry* file, std::uint64_t sector, std::uint64_t sizeBytes) const;
  void write(const Entry* entry) { setup_.writer->writeEntry(*entry); }

  CarvedRegistrarSetup setup_;
  NullCarvedRecordWriter nullWriter_;
  CarveCounters counters_;
  std::map<std::string, Entry*, std::less<>> fileCheckFolders_;
};

}  // namespace nua
