// The crash-recovery pair: the main file holds the state of a signature search at its start and,
// appended behind it, each record the search makes; the Info file holds the position to resume from.
// Writing both at the search's start, appending records and positions during it, and removal at its
// end. The reader is in recovery_pair_reader.h.
//
// Main file, all numbers big-endian, blobs as in a session (u32 length, keyed archive):
//   1  blob of the selected volume
//   2  blob of the scan status text (mainScanStatus)
//   3  u32 treeScanMode, u32 scanMode, u32 rawSearchMode, u32 isPTListOrPTScanListChosen (-1 as 0xFFFFFFFF)
//   4  the partition blobs, as many as a session has for these modes
//   5  u32 count, then per selected signature row a blob of its extension text
//   6  u64 count, then that many u64 keys of the known-file table (8 zero bytes when it is empty)
//   7  u32 count, then that many u64 sectors of the MP3 done list
//   8  u32 count, then that many u64 sectors of the MPEG done list
//   9  the tree, records as in a session, parents before children
//   10 records appended by the search, each with no children behind it, a folder before its first child;
//      each is placed under the record whose stored identity its parent identity names
// Info file: empty, or one u64 at offset 0, the position to resume from.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/rows.h"
#include "records/entry.h"
#include "records/key_table.h"
#include "signature/carved_entry_registrar.h"
#include "signature/signature_scan_engine.h"
#include "volume/volume.h"

namespace nua {

inline constexpr const char* kRecoveryFileName = "KelvoMediaAutoRecovery.dat";
inline constexpr const char* kRecoveryInfoFileName = "KelvoMediaAutoRecoveryInfo.dat";
// Told to the user when the pair cannot be written; the search then runs without it.
inline constexpr const char* kRecoveryPairErrorTitle = "!Error";
inline constexpr const char* kRecoveryPairErrorText = "Cannot create file at selected path";

// Where the two files of a pair are.
struct RecoveryPairPaths {
  std::string recoveryFile;
  std::string infoFile;

  [[nodiscard]] static RecoveryPairPaths inFolder(const std::string& folder);
};

// What the search's start writes; the caller owns everything pointed to.
struct RecoveryPairState {
  const Volume* selectedVolume = nullptr;  // required
  std::string mainScanStatus;
  std::int32_t treeScanMode = -1;
  std::int32_t scanMode = -1;
  std::int32_t rawSearchMode = -1;
  std::int32_t isPTListOrPTScanListChosen = -1;
  std::vector<PartitionRow> partitionListDictArray;
  std::vector<PartitionRow> partitionScanListDictArray;
  std::vector<std::string> signatureExtensions;          // of the selected rows, in their order
  const CountedKeyTable* btreeFirstFileBlock = nullptr;  // none: an empty table
  std::vector<std::uint64_t> mp3DoneArray;
  std::vector<std::uint64_t> mpgDoneArray;
  const Entry* dirRoot = nullptr;  // required
};

struct [[nodiscard]] RecoveryPairWriteResult {
  bool ok = false;
  std::string error;  // why there is no pair; the search goes on without one
};

// Writes the pair: any old pair is removed, then both files are written under temporary names,
// synchronised and renamed into place, the Info file (empty) last, so that both names present always
// means a complete main file. On failure no file of the pair is left.
RecoveryPairWriteResult saveScanInfoAutoRecovery(const RecoveryPairPaths& paths, const RecoveryPairState& state);

// Removes both files, the Info file first so that a removal cut short leaves no pair. Missing files
// are no error.
void removeRecoveryPair(const RecoveryPairPaths& paths);

// Whether each file of the pair is there.
struct RecoveryPairPresence {
  bool recoveryFile = false;
  bool infoFile = false;
  [[nodiscard]] bool both() const { return recoveryFile && infoFile; }
};
[[nodiscard]] RecoveryPairPresence recoveryPairPresence(const RecoveryPairPaths& paths);

// Appends each record the search makes to the main file. Records reach the file at every
// synchronise(); they go to the disk itself at most once a second and before each saved position, so
// a crash of the process loses nothing and a crash of the machine at most the last second. After a
// failed write nothing more is appended, so that the stream never holds a gap.
class RecoveryRecordAppender final : public CarvedRecordWriter {
 public:
  explicit RecoveryRecordAppender(const std::string& recoveryFile);
  ~RecoveryRecordAppender() override;
  RecoveryRecordAppender(const RecoveryRecordAppender&) = delete;
  RecoveryRecordAppender& operator=(const RecoveryRecordAppender&) = delete;

  void writeEntry(const Entry& entry) override;
  void synchronise() override;
  // Writes what is pending and makes it durable.
  void syncToDisk();
  // False once the file could not be opened or a write failed.
  [[nodiscard]] bool working() const;

 private:
  struct Stream;
  std::unique_ptr<Stream> stream_;
};

// Keeps the resume position in the Info file: 8 bytes big-endian at offset 0, made durable each time.
// With an appender, its records are made durable first, so the position never runs ahead of them.
class RecoveryResumePosition final : public ResumePositionSink {
 public:
  RecoveryResumePosition(const std::string& infoFile, RecoveryRecordAppender* records);
  ~RecoveryResumePosition() override;
  RecoveryResumePosition(const RecoveryResumePosition&) = delete;
  RecoveryResumePosition& operator=(const RecoveryResumePosition&) = delete;

  void savePosition(std::uint64_t unit) override;
  [[nodiscard]] bool working() const { return fd_ >= 0 && !failed_; }

 private:
  int fd_;
  RecoveryRecordAppender* records_;
  bool failed_ = false;
};

}  // namespace nua
