#include "session/recovery_pair_reader.h"

#include "records/entry_ops.h"
#include "session/detail/session_stream_reader.h"
#include "session/session_file.h"
#include "session/session_record.h"
#include "session/volume_coding.h"

namespace nua {
namespace {

using detail::readBlob;
using detail::SessionInput;
using detail::TreeReader;

constexpr const char* kRecoveryLabel = "recovery file";

// A big-endian u64 at offset 0 of the Info file; 0 when it holds fewer than 8 bytes.
std::uint64_t readResumePosition(const std::string& infoFile) {
  SessionInput in(infoFile, kRecoveryLabel);
  std::uint64_t position = 0;
  if (!in.isOpen() || !in.readU64(position)) return 0;
  return position;
}

bool readText(SessionInput& in, std::string& text, std::string& reason) {
  KeyedValue value;
  if (!readBlob(in, in.size(), value, reason)) return false;
  if (value.kind() != KeyedKind::kString) {
    reason = in.at("text expected", in.position());
    return false;
  }
  text = value.asString();
  return true;
}

// A count followed by that many u64; the count may not promise more than the file holds.
bool readNumbers(SessionInput& in, std::uint64_t count, std::vector<std::uint64_t>& numbers, std::string& reason) {
  if (count > in.remaining() / 8) {
    reason = in.at("count past the end", in.position());
    return false;
  }
  numbers.resize(static_cast<std::size_t>(count));
  for (std::uint64_t& number : numbers)
    if (!in.readU64(number)) {
      reason = in.at("number cut short", in.position());
      return false;
    }
  return true;
}

// Parts 1 to 8: everything before the tree.
bool readState(SessionInput& in, RecoveryPairData& data, std::string& reason) {
  KeyedValue value;
  if (!readBlob(in, in.size(), value, reason)) return false;
  Parsed<std::shared_ptr<Volume>> volume = initVolumeWithCoder(value);
  if (!volume) {
    reason = volume.reason;
    return false;
  }
  data.selectedVolume = *volume.value;
  if (!readText(in, data.mainScanStatus, reason)) return false;
  std::uint32_t modes[4] = {};
  for (std::uint32_t& mode : modes)
    if (!in.readU32(mode)) {
      reason = in.at("scan settings cut short", in.position());
      return false;
    }
  data.treeScanMode = detail::modeOrUnset(modes[0], 2);
  data.scanMode = detail::modeOrUnset(modes[1], 6);
  data.rawSearchMode = detail::modeOrUnset(modes[2], 6);
  data.isPTListOrPTScanListChosen = detail::modeOrUnset(modes[3], 2);
  const int blobs = partitionBlobCount(data.rawSearchMode, data.isPTListOrPTScanListChosen);
  for (int i = 0; i < blobs; ++i) {
    if (!readBlob(in, in.size(), value, reason)) return false;
    Parsed<std::vector<PartitionRow>> rows = decodePartitionRows(value);
    if (!rows) {
      reason = rows.reason;
      return false;
    }
    (i == 0 ? data.partitionListDictArray : data.partitionScanListDictArray) = *rows.value;
  }
  std::uint32_t extensions = 0;
  if (!in.readU32(extensions)) {
    reason = in.at("extension count cut short", in.position());
    return false;
  }
  // Each blob takes at least its 4-byte length.
  if (extensions > in.remaining() / 4) {
    reason = in.at("extension count past the end", in.position());
    return false;
  }
  data.autoRecSigExtArray.resize(extensions);
  for (std::string& extension : data.autoRecSigExtArray)
    if (!readText(in, extension, reason)) return false;
  std::uint64_t keys = 0;
  std::uint32_t mp3 = 0, mpg = 0;
  if (!in.readU64(keys)) {
    reason = in.at("key count cut short", in.position());
    return false;
  }
  if (!readNumbers(in, keys, data.knownFileKeys, reason)) return false;
  if (!in.readU32(mp3)) {
    reason = in.at("MP3 list cut short", in.position());
    return false;
  }
  if (!readNumbers(in, mp3, data.mp3DoneArray, reason)) return false;
  if (!in.readU32(mpg)) {
    reason = in.at("MPEG list cut short", in.position());
    return false;
  }
  return readNumbers(in, mpg, data.mpgDoneArray, reason);
}

// Part 10: records in creation order, each placed under the folder its parent identity names.
void readAppendedRecords(SessionInput& in, TreeReader& reader, IdentityEntryTable& folders, RecoveryPairData& data) {
  while (in.remaining() != 0) {
    SessionRecord record;
    std::string ignored;
    Entry* dir = in.remaining() >= kSessionRecordSize ? reader.readEntry(nullptr, 0, record, ignored) : nullptr;
    if (dir == nullptr) {
      // What the search was writing when the process ended.
      data.appendedCutShort = true;
      return;
    }
    const IdentityEntryItem* parentItem = folders.retrieveKeyField(record.parentPointer);
    if (parentItem == nullptr) {
      ++data.appendedDropped;
      data.arena->freeNDir(dir);
      continue;
    }
    Entry* parent = parentItem->dir;
    const bool isFile = record.fileType != 1;
    if (!isFile) {
      // A folder is written when its first find is made, with that find already counted; its finds
      // follow it in the stream and are counted as they are placed.
      dir->childrenCount = 0;
      dir->fileCount = 0;
      dir->fileSize = 0;
    }
    dir->parent = parent;
    addChild(dir, parent);
    for (Entry* up = parent; up != nullptr; up = up->parent) {
      ++up->childrenCount;
      if (isFile) {
        ++up->fileCount;
        up->fileSize += dir->fileSize;
      }
    }
    ++data.entryCount;
    if (isFile) {
      ++data.fileCount;
      data.dataSize += dir->fileSize;
    } else {
      ++data.folderCount;
      folders.insert({record.selfPointer, dir});
    }
  }
}

}  // namespace

RecoveryPairReadResult openScanInfoAutoRecovery(const RecoveryPairPaths& paths) {
  RecoveryPairReadResult result;
  SessionInput in(paths.recoveryFile, kRecoveryLabel);
  if (!in.isOpen()) {
    result.reason = "recovery file: cannot be read or empty";
    return result;
  }
  RecoveryPairData data;
  data.autoRecBeginSize = readResumePosition(paths.infoFile);
  if (!readState(in, data, result.reason)) return result;
  data.arena = std::make_shared<EntryArena>();
  IdentityEntryTable folders;
  TreeReader reader(in, *data.arena, nullptr, &folders);
  data.root = reader.readTree(result.reason);
  if (data.root == nullptr) return result;
  readAppendedRecords(in, reader, folders, data);
  result.data = std::move(data);
  return result;
}

std::unique_ptr<CountedKeyTable> knownFileTable(const std::vector<std::uint64_t>& keys) {
  auto table = std::make_unique<CountedKeyTable>();
  for (std::uint64_t key : keys) table->insert({key, 0});
  return table;
}

}  // namespace nua
