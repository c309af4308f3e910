#include "session/session_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "archive/keyed_archive.h"
#include "base/bytes.h"
#include "session/session_record.h"
#include "session/volume_coding.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

// The longest name and path that a reopened entry keeps; a longer one reads as "Untitled".
constexpr std::uint16_t kMaxKeptUnits = 255;

// The open file, read forward through a buffer, never past the size it had when opened.
class SessionInput {
 public:
  explicit SessionInput(const std::string& path) : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    struct stat st{};
    if (fd_ >= 0 && ::fstat(fd_, &st) == 0 && S_ISREG(st.st_mode)) size_ = static_cast<std::uint64_t>(st.st_size);
  }
  ~SessionInput() {
    if (fd_ >= 0) ::close(fd_);
  }
  SessionInput(const SessionInput&) = delete;
  SessionInput& operator=(const SessionInput&) = delete;

  [[nodiscard]] bool isOpen() const { return fd_ >= 0 && size_ != 0; }
  [[nodiscard]] std::uint64_t size() const { return size_; }
  [[nodiscard]] std::uint64_t position() const { return position_; }
  [[nodiscard]] std::uint64_t remaining() const { return size_ - position_; }

  void seek(std::uint64_t offset) {
    position_ = offset <= size_ ? offset : size_;
    bufferStart_ = bufferEnd_ = 0;
  }
  // Copies the next n bytes into out; false (and nothing consumed) when fewer are left or reading fails.
  [[nodiscard]] bool read(std::size_t n, std::byte* out) {
    if (n > remaining()) return false;
    std::size_t done = 0;
    while (done < n) {
      if (bufferStart_ == bufferEnd_ && !fill()) return false;
      const std::size_t step = std::min(n - done, bufferEnd_ - bufferStart_);
      std::memcpy(out + done, buffer_.data() + bufferStart_, step);
      bufferStart_ += step;
      done += step;
      position_ += step;
    }
    return true;
  }
  [[nodiscard]] bool readU32(std::uint32_t& value) {
    std::byte raw[4];
    if (!read(4, raw)) return false;
    value = be32(raw, 0);
    return true;
  }

 private:
  bool fill() {
    if (buffer_.empty()) buffer_.resize(std::size_t{1} << 20);
    const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(buffer_.size(), remaining()));
    ssize_t n = -1;
    do {
      n = ::pread(fd_, buffer_.data(), want, static_cast<off_t>(position_));
    } while (n < 0 && errno == EINTR);
    if (n <= 0) return false;
    bufferStart_ = 0;
    bufferEnd_ = static_cast<std::size_t>(n);
    return true;
  }

  int fd_;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
  std::vector<std::byte> buffer_;
  std::size_t bufferStart_ = 0, bufferEnd_ = 0;
};

std::string at(const char* what, std::uint64_t offset) {
  char text[120];
  std::snprintf(text, sizeof text, "session file: %s at 0x%llx", what, static_cast<unsigned long long>(offset));
  return text;
}

// One length-prefixed keyed archive. `limit` bounds the blob's end (the header area for the first two).
bool readBlob(SessionInput& in, std::uint64_t limit, KeyedValue& value, std::string& reason) {
  const std::uint64_t start = in.position();
  std::uint32_t length = 0;
  if (!in.readU32(length)) {
    reason = at("blob length cut short", start);
    return false;
  }
  if (length > in.remaining() || in.position() + length > limit) {
    reason = at("blob length past the end", start);
    return false;
  }
  std::vector<std::byte> bytes(length);
  if (!in.read(length, bytes.data())) {
    reason = at("blob cut short", start);
    return false;
  }
  KeyedArchiveResult archive = readKeyedArchive(bytes);
  if (!archive.ok()) {
    reason = at("blob not readable", start) + " (" + archive.reason + ")";
    return false;
  }
  value = std::move(archive.archive->root);
  return true;
}

SessionHeaderCheck checkHeader(SessionInput& in) {
  SessionHeaderCheck check;
  if (!in.isOpen()) {
    check.reason = "the file cannot be read";
    return check;
  }
  in.seek(0);
  KeyedValue status;
  if (!readBlob(in, kSessionHeaderAreaSize, status, check.reason)) return check;
  if (status.kind() != KeyedKind::kString || status.asString() != kSessionStatusComplete) {
    check.reason = "session file: the status is not \"Complete\"";
    return check;
  }
  KeyedValue identity;
  if (!readBlob(in, kSessionHeaderAreaSize, identity, check.reason) || identity.kind() != KeyedKind::kString) {
    if (check.reason.empty()) check.reason = "session file: the identity is not a text";
    check.status = SessionHeaderStatus::kDamaged;
    return check;
  }
  check.identity = identity.asString();
  check.status = check.identity == kSessionIdentity ? SessionHeaderStatus::kComplete : SessionHeaderStatus::kForeign;
  return check;
}

// Reads the tree stream. Each record costs 96 bytes of the file, so neither the records made nor the
// frames kept can outgrow the file, and the walk ends when the file does.
class TreeReader {
 public:
  TreeReader(SessionInput& in, EntryArena& arena, SessionData& data, SessionProgress* progress)
      : in_(in), arena_(arena), data_(data), progress_(progress) {}

  bool run(std::string& reason) {
    SessionRecord rootRecord;
    Entry* root = readEntry(nullptr, 0, rootRecord, reason);
    if (root == nullptr) return false;
    data_.root = root;
    data_.rootSelected = root->selected;
    data_.scanInfoEntryCount = 0;
    if (progress_ != nullptr) progress_->setMaxValue(root->childrenCount);
    struct Frame {
      Entry* parent;
      std::uint64_t identity;
      std::uint32_t left;
    };
    std::vector<Frame> stack;
    if (rootRecord.childListCount != 0) stack.push_back({root, rootRecord.selfPointer, rootRecord.childListCount});
    while (!stack.empty()) {
      if (stack.back().left == 0) {
        stack.pop_back();
        continue;
      }
      --stack.back().left;
      const Frame top = stack.back();
      SessionRecord record;
      Entry* child = readEntry(top.parent, top.identity, record, reason);
      if (child == nullptr) return false;
      addChild(child, top.parent);
      ++data_.scanInfoEntryCount;
      if (data_.scanInfoEntryCount % 50 == 0 && progress_ != nullptr) progress_->incrementBy(50);
      if (record.childListCount != 0) stack.push_back({child, record.selfPointer, record.childListCount});
    }
    if (in_.remaining() != 0) {
      reason = at("bytes after the end of the tree", in_.position());
      return false;
    }
    return true;
  }

 private:
  // One record with its name, path and extents, checked against its place in the tree.
  Entry* readEntry(Entry* parent, std::uint64_t parentIdentity, SessionRecord& record, std::string& reason) {
    const std::uint64_t start = in_.position();
    std::byte raw[kSessionRecordSize];
    if (!in_.read(kSessionRecordSize, raw)) {
      reason = at("entry record cut short", start);
      return nullptr;
    }
    record = *parseSessionRecord(raw);
    const char* wrong = nullptr;
    if (record.fileType != 1 && record.fileType != 2) wrong = "entry of unknown type";
    else if (record.selected > 1 || record.isFATEntry > 1 || record.complete > 1 || record.deleted > 1)
      wrong = "entry flag other than 0 or 1";
    else if (record.selfPointer == 0) wrong = "entry without identity";
    else if (parent != nullptr && record.parentPointer != parentIdentity) wrong = "entry under the wrong parent";
    else if (record.fileType != 1 && record.childListCount != 0) wrong = "file with children";
    else if (record.childListCount > in_.remaining() / kSessionRecordSize) wrong = "child count past the end";
    if (wrong != nullptr) {
      reason = at(wrong, start);
      return nullptr;
    }
    Entry* dir = arena_.newDir();
    convertHPDirToNDir(record, dir);
    dir->parent = parent;
    if (!readText(record.fileNameLength, u"Untitled", u"Untitled", dir, false, reason)) return nullptr;
    if (record.fileType == 1 && !readText(record.pathNameLength, u"1", u"Untitled", dir, true, reason)) return nullptr;
    // Extents are read whenever the record counts any, whatever the size, so what follows stays in step.
    if (record.dataExtCount > in_.remaining() / 8) {
      reason = at("extent count past the end", in_.position());
      return nullptr;
    }
    dir->dataExt.reserve(record.dataExtCount);
    for (std::uint32_t i = 0; i < record.dataExtCount; ++i) {
      std::uint32_t startBlock = 0, blockCount = 0;
      if (!in_.readU32(startBlock) || !in_.readU32(blockCount)) {
        reason = at("extent cut short", in_.position());
        return nullptr;
      }
      addDataExtStartBlock(startBlock, blockCount, dir);
    }
    return dir;
  }

  bool readText(std::uint16_t length, std::u16string_view ifEmpty, std::u16string_view ifLong, Entry* dir,
                bool isPath, std::string& reason) {
    std::u16string text;
    if (length != 0) {
      if (std::size_t{length} * 2 > in_.remaining()) {
        reason = at(isPath ? "path cut short" : "name cut short", in_.position());
        return false;
      }
      std::vector<std::byte> raw(std::size_t{length} * 2);
      if (!in_.read(raw.size(), raw.data())) {
        reason = at("text not readable", in_.position());
        return false;
      }
      text.resize(length);
      for (std::size_t i = 0; i < length; ++i) text[i] = static_cast<char16_t>(be16(raw, i * 2));
    }
    if (length == 0) text = ifEmpty;
    else if (length > kMaxKeptUnits) text = ifLong;
    if (isPath) arena_.setPathName(text, dir);
    else arena_.setFileName(text, dir);
    return true;
  }

  SessionInput& in_;
  EntryArena& arena_;
  SessionData& data_;
  SessionProgress* progress_;
};

std::int32_t modeOrUnset(std::uint32_t stored, std::uint32_t limit) {
  return stored < limit ? static_cast<std::int32_t>(stored) : -1;
}

}  // namespace

SessionHeaderCheck checkSessionHeader(const std::string& path) {
  SessionInput in(path);
  return checkHeader(in);
}

SessionReadResult readScanInfo(const std::string& path, SessionProgress* progress) {
  SessionReadResult result;
  SessionInput in(path);
  const SessionHeaderCheck header = checkHeader(in);
  if (header.status != SessionHeaderStatus::kComplete) {
    result.reason = header.status == SessionHeaderStatus::kForeign ? "session file of " + header.identity : header.reason;
    return result;
  }
  if (in.size() < kSessionHeaderAreaSize) {
    result.reason = at("file ends inside the header area", in.size());
    return result;
  }
  in.seek(kSessionHeaderAreaSize);
  SessionData data;
  SessionContents& c = data.contents;
  KeyedValue value;
  if (!readBlob(in, in.size(), value, result.reason)) return result;
  Parsed<std::shared_ptr<Volume>> volume = initVolumeWithCoder(value);
  if (!volume) {
    result.reason = volume.reason;
    return result;
  }
  c.volume = *volume.value;
  std::uint32_t scanMode = 0, rawSearchMode = 0, chosen = 0, flag = 0;
  if (!in.readU32(scanMode) || !in.readU32(rawSearchMode) || !in.readU32(chosen)) {
    result.reason = at("scan settings cut short", in.position());
    return result;
  }
  c.scanMode = modeOrUnset(scanMode, 6);
  c.rawSearchMode = modeOrUnset(rawSearchMode, 6);
  c.isPTListOrPTScanListChosen = modeOrUnset(chosen, 2);
  const int blobs = partitionBlobCount(c.rawSearchMode, c.isPTListOrPTScanListChosen);
  for (int i = 0; i < blobs; ++i) {
    if (!readBlob(in, in.size(), value, result.reason)) return result;
    Parsed<std::vector<PartitionRow>> rows = decodePartitionRows(value);
    if (!rows) {
      result.reason = rows.reason;
      return result;
    }
    (i == 0 ? c.partitionListDictArray : c.partitionScanListDictArray) = *rows.value;
  }
  if (!in.readU32(flag) || flag > 1) {
    result.reason = at("first-sectors flag neither 0 nor 1", in.position());
    return result;
  }
  if (flag == 1) {
    const std::uint64_t bytes = std::uint64_t{kSessionFirstSectorCount} * static_cast<std::uint64_t>(c.volume->u32BytesInSector);
    if (bytes > in.remaining()) {
      result.reason = at("first sectors cut short", in.position());
      return result;
    }
    c.hasFirst5Sectors = true;
    c.first5Sectors.resize(static_cast<std::size_t>(bytes));
    if (!in.read(c.first5Sectors.size(), c.first5Sectors.data())) {
      result.reason = at("first sectors not readable", in.position());
      return result;
    }
  }
  // A refused file leaves nothing behind: the tree lives in its own arena until it is handed over.
  data.arena = std::make_shared<EntryArena>();
  TreeReader tree(in, *data.arena, data, progress);
  if (!tree.run(result.reason)) return result;
  result.data = std::move(data);
  return result;
}

}  // namespace nua
