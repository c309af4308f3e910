#include "session/detail/session_stream_writer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/bytes.h"
#include "session/session_record.h"
#include "session/session_writer.h"

namespace nua::detail {
namespace {

// Longest name and folder path a record carries, in UTF-16 units: the room the record's copy has.
constexpr std::uint16_t kMaxNameUnits = 512;
constexpr std::uint16_t kMaxPathUnits = 2048;

}  // namespace

StreamOut::StreamOut(int fd) : fd_(fd) { buffer_.reserve(kChunk); }

void StreamOut::put(std::span<const std::byte> bytes) {
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  if (buffer_.size() >= kChunk) flush();
}

void StreamOut::putU32(std::uint32_t value) {
  std::byte raw[4];
  putBe32(raw, 0, value);
  put(raw);
}

void StreamOut::putU64(std::uint64_t value) {
  std::byte raw[8];
  putBe64(raw, 0, value);
  put(raw);
}

void StreamOut::putUnits(const NameBlock& name, std::uint16_t units) {
  for (std::uint16_t i = 0; i < units; ++i) {
    std::byte raw[2];
    putBe16(raw, 0, static_cast<std::uint16_t>(name.units[i]));
    put(raw);
  }
}

bool StreamOut::flush() {
  std::size_t done = 0;
  while (error_ == 0 && done < buffer_.size()) {
    const ssize_t n = ::write(fd_, buffer_.data() + done, buffer_.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) error_ = n < 0 ? errno : EIO;
    else done += static_cast<std::size_t>(n);
  }
  buffer_.clear();
  return error_ == 0;
}

void writeEntryRecord(StreamOut& out, const Entry* dir, std::uint32_t children, std::uint64_t parentIdentity) {
  SessionRecord record = convertNDirToHPDir(dir, children, parentIdentity);
  // A name or path past the record's room is cut there rather than refusing the entry.
  record.fileNameLength = std::min(record.fileNameLength, kMaxNameUnits);
  if (record.fileType == 1) record.pathNameLength = std::min(record.pathNameLength, kMaxPathUnits);
  std::byte raw[kSessionRecordSize];
  writeSessionRecord(record, raw);
  out.put(raw);
  out.putUnits(dir->fileName, record.fileNameLength);
  if (record.fileType == 1) out.putUnits(dir->pathName, record.pathNameLength);
  for (std::uint32_t i = 0; i < record.dataExtCount; ++i) {
    out.putU32(dir->dataExt[i].startBlock);
    out.putU32(dir->dataExt[i].blockCount);
  }
}

// By an explicit stack, so that the depth of the tree costs no call stack.
void writeTree(StreamOut& out, const Entry* root, std::uint32_t& scanInfoEntryCount, SessionProgress* progress) {
  struct Frame {
    const Entry* dir;
    std::size_t next = 0;
  };
  auto writeOne = [&](const Entry* dir, std::uint64_t parentIdentity) {
    writeEntryRecord(out, dir, static_cast<std::uint32_t>(allChildrenOfDir(dir).size()), parentIdentity);
    ++scanInfoEntryCount;
    if (scanInfoEntryCount % 100 == 0 && progress != nullptr) progress->incrementBy(100);
  };
  writeOne(root, root->parent != nullptr ? root->parent->identity : 0);
  std::vector<Frame> stack{{root}};
  while (!stack.empty() && out.error() == 0) {
    Frame& top = stack.back();
    const std::vector<Entry*>& children = allChildrenOfDir(top.dir);
    if (top.next >= children.size()) {
      stack.pop_back();
      continue;
    }
    const Entry* parent = top.dir;
    const Entry* child = children[top.next++];
    // A hole in a list would leave the count written above short by one record; the tree has none.
    writeOne(child, parent->identity);
    if (!allChildrenOfDir(child).empty()) stack.push_back({child});
  }
}

bool writeAllAt(int fd, std::span<const std::byte> bytes, std::uint64_t offset) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::pwrite(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace nua::detail
