#include "session/session_reader.h"

#include "session/detail/session_stream_reader.h"
#include "session/session_record.h"
#include "session/volume_coding.h"

namespace nua {
namespace {

using detail::readBlob;
using detail::SessionInput;
using detail::TreeReader;

constexpr const char* kSessionLabel = "session file";

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

}  // namespace

SessionHeaderCheck checkSessionHeader(const std::string& path) {
  SessionInput in(path, kSessionLabel);
  return checkHeader(in);
}

SessionReadResult readScanInfo(const std::string& path, SessionProgress* progress) {
  SessionReadResult result;
  SessionInput in(path, kSessionLabel);
  const SessionHeaderCheck header = checkHeader(in);
  if (header.status != SessionHeaderStatus::kComplete) {
    result.reason = header.status == SessionHeaderStatus::kForeign ? "session file of " + header.identity : header.reason;
    return result;
  }
  if (in.size() < kSessionHeaderAreaSize) {
    result.reason = in.at("file ends inside the header area", in.size());
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
    result.reason = in.at("scan settings cut short", in.position());
    return result;
  }
  c.scanMode = detail::modeOrUnset(scanMode, 6);
  c.rawSearchMode = detail::modeOrUnset(rawSearchMode, 6);
  c.isPTListOrPTScanListChosen = detail::modeOrUnset(chosen, 2);
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
    result.reason = in.at("first-sectors flag neither 0 nor 1", in.position());
    return result;
  }
  if (flag == 1) {
    const std::uint64_t bytes = std::uint64_t{kSessionFirstSectorCount} * static_cast<std::uint64_t>(c.volume->u32BytesInSector);
    if (bytes > in.remaining()) {
      result.reason = in.at("first sectors cut short", in.position());
      return result;
    }
    c.hasFirst5Sectors = true;
    c.first5Sectors.resize(static_cast<std::size_t>(bytes));
    if (!in.read(c.first5Sectors.size(), c.first5Sectors.data())) {
      result.reason = in.at("first sectors not readable", in.position());
      return result;
    }
  }
  // A refused file leaves nothing behind: the tree lives in its own arena until it is handed over.
  data.arena = std::make_shared<EntryArena>();
  TreeReader tree(in, *data.arena, progress);
  data.root = tree.readTree(result.reason);
  if (data.root == nullptr) return result;
  if (in.remaining() != 0) {
    result.reason = in.at("bytes after the end of the tree", in.position());
    return result;
  }
  data.rootSelected = tree.rootSelected();
  data.scanInfoEntryCount = tree.entriesRead();
  result.data = std::move(data);
  return result;
}

}  // namespace nua
