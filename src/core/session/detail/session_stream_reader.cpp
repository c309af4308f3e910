#include "session/detail/session_stream_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "archive/keyed_archive.h"
#include "base/bytes.h"
#include "records/entry_ops.h"

namespace nua::detail {
namespace {

// The longest name and path that a reopened entry keeps; a longer one reads as "Untitled".
constexpr std::uint16_t kMaxKeptUnits = 255;

}  // namespace

SessionInput::SessionInput(const std::string& path, std::string label)
    : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)), label_(std::move(label)) {
  struct stat st{};
  if (fd_ >= 0 && ::fstat(fd_, &st) == 0 && S_ISREG(st.st_mode)) size_ = static_cast<std::uint64_t>(st.st_size);
}

SessionInput::~SessionInput() {
  if (fd_ >= 0) ::close(fd_);
}

void SessionInput::seek(std::uint64_t offset) {
  position_ = offset <= size_ ? offset : size_;
  bufferStart_ = bufferEnd_ = 0;
}

bool SessionInput::read(std::size_t n, std::byte* out) {
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

bool SessionInput::readU32(std::uint32_t& value) {
  std::byte raw[4];
  if (!read(4, raw)) return false;
  value = be32(raw, 0);
  return true;
}

bool SessionInput::readU64(std::uint64_t& value) {
  std::byte raw[8];
  if (!read(8, raw)) return false;
  value = be64(raw, 0);
  return true;
}

std::string SessionInput::at(const char* what, std::uint64_t offset) const {
  char text[120];
  std::snprintf(text, sizeof text, ": %s at 0x%llx", what, static_cast<unsigned long long>(offset));
  return label_ + text;
}

bool SessionInput::fill() {
  // A small file needs no full-sized buffer.
  if (buffer_.empty()) buffer_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(std::size_t{1} << 20, size_)));
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

bool readBlob(SessionInput& in, std::uint64_t limit, KeyedValue& value, std::string& reason) {
  const std::uint64_t start = in.position();
  std::uint32_t length = 0;
  if (!in.readU32(length)) {
    reason = in.at("blob length cut short", start);
    return false;
  }
  if (length > in.remaining() || in.position() + length > limit) {
    reason = in.at("blob length past the end", start);
    return false;
  }
  std::vector<std::byte> bytes(length);
  if (!in.read(length, bytes.data())) {
    reason = in.at("blob cut short", start);
    return false;
  }
  KeyedArchiveResult archive = readKeyedArchive(bytes);
  if (!archive.ok()) {
    reason = in.at("blob not readable", start) + " (" + archive.reason + ")";
    return false;
  }
  value = std::move(archive.archive->root);
  return true;
}

TreeReader::TreeReader(SessionInput& in, EntryArena& arena, SessionProgress* progress, IdentityEntryTable* folders)
    : in_(in), arena_(arena), progress_(progress), folders_(folders) {}

Entry* TreeReader::readTree(std::string& reason) {
  SessionRecord rootRecord;
  Entry* root = readEntry(nullptr, 0, rootRecord, reason);
  if (root == nullptr) return nullptr;
  rootSelected_ = root->selected;
  entriesRead_ = 0;
  rememberFolder(rootRecord, root);
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
    if (child == nullptr) return nullptr;
    addChild(child, top.parent);
    rememberFolder(record, child);
    ++entriesRead_;
    if (entriesRead_ % 50 == 0 && progress_ != nullptr) progress_->incrementBy(50);
    if (record.childListCount != 0) stack.push_back({child, record.selfPointer, record.childListCount});
  }
  return root;
}

void TreeReader::rememberFolder(const SessionRecord& record, Entry* dir) {
  if (folders_ != nullptr && record.fileType == 1) folders_->insert({record.selfPointer, dir});
}

Entry* TreeReader::readEntry(Entry* parent, std::uint64_t parentIdentity, SessionRecord& record, std::string& reason) {
  const std::uint64_t start = in_.position();
  std::byte raw[kSessionRecordSize];
  if (!in_.read(kSessionRecordSize, raw)) {
    reason = in_.at("entry record cut short", start);
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
    reason = in_.at(wrong, start);
    return nullptr;
  }
  Entry* dir = arena_.newDir();
  convertHPDirToNDir(record, dir);
  dir->parent = parent;
  if (!readText(record.fileNameLength, u"Untitled", u"Untitled", dir, false, reason)) return nullptr;
  if (record.fileType == 1 && !readText(record.pathNameLength, u"1", u"Untitled", dir, true, reason)) return nullptr;
  // Extents are read whenever the record counts any, whatever the size, so what follows stays in step.
  if (record.dataExtCount > in_.remaining() / 8) {
    reason = in_.at("extent count past the end", in_.position());
    return nullptr;
  }
  dir->dataExt.reserve(record.dataExtCount);
  for (std::uint32_t i = 0; i < record.dataExtCount; ++i) {
    std::uint32_t startBlock = 0, blockCount = 0;
    if (!in_.readU32(startBlock) || !in_.readU32(blockCount)) {
      reason = in_.at("extent cut short", in_.position());
      return nullptr;
    }
    addDataExtStartBlock(startBlock, blockCount, dir);
  }
  return dir;
}

bool TreeReader::readText(std::uint16_t length, std::u16string_view ifEmpty, std::u16string_view ifLong, Entry* dir,
                          bool isPath, std::string& reason) {
  std::u16string text;
  if (length != 0) {
    if (std::size_t{length} * 2 > in_.remaining()) {
      reason = in_.at(isPath ? "path cut short" : "name cut short", in_.position());
      return false;
    }
    std::vector<std::byte> raw(std::size_t{length} * 2);
    if (!in_.read(raw.size(), raw.data())) {
      reason = in_.at("text not readable", in_.position());
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

}  // namespace nua::detail
