#include "session/volume_coding.h"

#include <cstdint>

namespace nua {
namespace {

constexpr const char* kVolumeClass = "Volume";
constexpr const char* kDictClass = "Dict";

void setTextIfPresent(KeyedObject& object, const char* key, const std::string& text) {
  if (!text.empty()) object.set(key, KeyedValue::string(text));
}

// Reads one optional key of a stored Volume; a key of the wrong kind is damage.
class VolumeKeys {
 public:
  explicit VolumeKeys(const KeyedObject& object) : object_(object) {}

  void integer(const char* key, std::uint64_t& bits) {
    const KeyedValue* value = object_.find(key);
    if (value == nullptr) return;
    if (!value->isInteger()) return fail(key);
    bits = value->asUnsigned();
  }
  template <class T>
  void number(const char* key, T& field) {
    std::uint64_t bits = static_cast<std::uint64_t>(field);
    integer(key, bits);
    field = static_cast<T>(bits);
  }
  void text(const char* key, std::string& field) {
    const KeyedValue* value = object_.find(key);
    if (value == nullptr) return;
    if (value->kind() != KeyedKind::kString) return fail(key);
    field = value->asString();
  }
  void boolean(const char* key, bool& field) {
    const KeyedValue* value = object_.find(key);
    if (value == nullptr) return;
    if (value->kind() != KeyedKind::kBool) return fail(key);
    field = value->asBool();
  }
  void real(const char* key, float& field) {
    const KeyedValue* value = object_.find(key);
    if (value == nullptr) return;
    if (value->kind() != KeyedKind::kDouble) return fail(key);
    field = static_cast<float>(value->asDouble());
  }
  [[nodiscard]] const std::string& reason() const { return reason_; }

 private:
  void fail(const char* key) {
    if (reason_.empty()) reason_ = std::string("session volume: key \"") + key + "\" holds the wrong kind of value";
  }
  const KeyedObject& object_;
  std::string reason_;
};

KeyedValue encodeDictValue(const DictValue& value);

KeyedValue encodeDict(const Dict& dict) {
  KeyedObject object(kDictClass);
  for (const auto& [key, value] : dict) object.set(key, encodeDictValue(value));
  return KeyedValue::object(std::move(object));
}

KeyedValue encodeDictValue(const DictValue& value) {
  if (const auto* b = std::get_if<bool>(&value.value)) return KeyedValue::boolean(*b);
  if (const auto* i = std::get_if<std::int64_t>(&value.value)) return KeyedValue::int64(*i);
  if (const auto* u = std::get_if<std::uint64_t>(&value.value)) return KeyedValue::integer(KeyedKind::kUInt64, *u);
  if (const auto* d = std::get_if<double>(&value.value)) return KeyedValue::real(*d);
  if (const auto* s = std::get_if<std::string>(&value.value)) return KeyedValue::string(*s);
  if (const DictArray* array = value.array()) {
    std::vector<KeyedValue> items;
    items.reserve(array->size());
    for (const DictValue& item : *array) items.push_back(encodeDictValue(item));
    return KeyedValue::array(std::move(items));
  }
  if (const Dict* dict = value.dict()) return encodeDict(*dict);
  return KeyedValue();
}

bool decodeDictValue(const KeyedValue& value, DictValue& out);

bool decodeDict(const KeyedValue& value, Dict& out) {
  const KeyedObject* object = value.asObject();
  if (object == nullptr || object->className() != kDictClass) return false;
  for (const auto& [key, item] : object->entries()) {
    DictValue decoded;
    if (!decodeDictValue(item, decoded)) return false;
    out.set(key, std::move(decoded));
  }
  return true;
}

bool decodeDictValue(const KeyedValue& value, DictValue& out) {
  switch (value.kind()) {
    case KeyedKind::kBool: out = DictValue(value.asBool()); return true;
    case KeyedKind::kInt8: case KeyedKind::kInt16: case KeyedKind::kInt32: case KeyedKind::kInt64:
      out = DictValue(value.asSigned());
      return true;
    case KeyedKind::kUInt8: case KeyedKind::kUInt16: case KeyedKind::kUInt32: case KeyedKind::kUInt64:
      out = DictValue(value.asUnsigned());
      return true;
    case KeyedKind::kDouble: out = DictValue(value.asDouble()); return true;
    case KeyedKind::kString: out = DictValue(value.asString()); return true;
    case KeyedKind::kArray: {
      DictArray items;
      items.reserve(value.asArray().size());
      for (const KeyedValue& item : value.asArray()) {
        DictValue decoded;
        if (!decodeDictValue(item, decoded)) return false;
        items.push_back(std::move(decoded));
      }
      out = DictValue(std::move(items));
      return true;
    }
    case KeyedKind::kObject: {
      Dict dict;
      if (!decodeDict(value, dict)) return false;
      out = DictValue(std::move(dict));
      return true;
    }
    default: return false;
  }
}

}  // namespace

KeyedObject encodeVolume(const Volume& v) {
  KeyedObject object(kVolumeClass);
  object.set("volumeScanType", KeyedValue::int32(v.volumeScanType));
  if (v.volumeScanType != 2) {
    object.set("startSector", KeyedValue::integer(KeyedKind::kUInt64, v.startSector));
    setTextIfPresent(object, "model", v.model);
    setTextIfPresent(object, "serial", v.serial);
    setTextIfPresent(object, "revision", v.revision);
  } else {
    object.set("parentDrivePath", KeyedValue::string(v.parentDrivePath));
    object.set("supportsFileSystemRecovery", KeyedValue::boolean(v.supportsFileSystemRecovery));
  }
  setTextIfPresent(object, "volumeName", v.volumeName);
  setTextIfPresent(object, "volumeContent", v.volumeContent);
  setTextIfPresent(object, "scanMode", v.scanMode);
  setTextIfPresent(object, "path", v.path);
  setTextIfPresent(object, "containerKind", v.containerKind);
  object.set("sizeInSect", KeyedValue::integer(KeyedKind::kUInt64, v.sizeInSect));
  object.set("HPlusVolStart", KeyedValue::int64(static_cast<std::int64_t>(v.HPlusVolStart)));
  object.set("blockSize", KeyedValue::int32(v.blockSize));
  object.set("totalBlocks", KeyedValue::int64(static_cast<std::int64_t>(v.totalBlocks)));
  object.set("u32BytesInSector", KeyedValue::int32(v.u32BytesInSector));
  object.set("blocksStartsAtSector", KeyedValue::int64(static_cast<std::int64_t>(v.blocksStartsAtSector)));
  object.set("entryCount", KeyedValue::int32(static_cast<std::int32_t>(v.counters.entryCount)));
  object.set("folderCount", KeyedValue::int32(static_cast<std::int32_t>(v.counters.folderCount)));
  object.set("fileCount", KeyedValue::int32(static_cast<std::int32_t>(v.counters.fileCount)));
  object.set("dataSize", KeyedValue::int64(static_cast<std::int64_t>(v.counters.dataSize)));
  object.set("startPos", KeyedValue::real(v.startPos));
  object.set("endPos", KeyedValue::real(v.endPos));
  object.set("maxFileID", KeyedValue::int32(static_cast<std::int32_t>(v.maxFileID)));
  object.set("u32RootDirectoryStart", KeyedValue::int32(static_cast<std::int32_t>(v.fat.u32RootDirectoryStart)));
  object.set("u32RootDirectorySectors", KeyedValue::int32(static_cast<std::int32_t>(v.fat.u32RootDirectorySectors)));
  return object;
}

Parsed<std::shared_ptr<Volume>> initVolumeWithCoder(const KeyedValue& value) {
  using Result = Parsed<std::shared_ptr<Volume>>;
  const KeyedObject* object = value.asObject();
  if (object == nullptr || object->className() != kVolumeClass)
    return Result::failure("session volume: the blob holds no Volume object");
  const KeyedValue* type = object->find("volumeScanType");
  if (type == nullptr || !type->isInteger()) return Result::failure("session volume: no \"volumeScanType\"");
  auto v = std::make_shared<Volume>();
  VolumeKeys keys(*object);
  keys.number("volumeScanType", v->volumeScanType);
  keys.number("startSector", v->startSector);
  keys.text("model", v->model);
  keys.text("serial", v->serial);
  keys.text("revision", v->revision);
  keys.text("parentDrivePath", v->parentDrivePath);
  keys.boolean("supportsFileSystemRecovery", v->supportsFileSystemRecovery);
  keys.text("volumeName", v->volumeName);
  keys.text("volumeContent", v->volumeContent);
  keys.text("scanMode", v->scanMode);
  keys.text("path", v->path);
  keys.text("containerKind", v->containerKind);
  keys.number("sizeInSect", v->sizeInSect);
  keys.number("HPlusVolStart", v->HPlusVolStart);
  keys.number("blockSize", v->blockSize);
  keys.number("totalBlocks", v->totalBlocks);
  keys.number("u32BytesInSector", v->u32BytesInSector);
  keys.number("blocksStartsAtSector", v->blocksStartsAtSector);
  std::uint32_t entries = 0, folders = 0, files = 0, maxFileID = 0;
  keys.number("entryCount", entries);
  keys.number("folderCount", folders);
  keys.number("fileCount", files);
  keys.number("maxFileID", maxFileID);
  v->counters.entryCount = entries;
  v->counters.folderCount = folders;
  v->counters.fileCount = files;
  v->maxFileID = maxFileID;
  keys.number("dataSize", v->counters.dataSize);
  keys.real("startPos", v->startPos);
  keys.real("endPos", v->endPos);
  keys.number("u32RootDirectoryStart", v->fat.u32RootDirectoryStart);
  keys.number("u32RootDirectorySectors", v->fat.u32RootDirectorySectors);
  // On FAT volumes the cluster and the allocation block are one; the rest of the FAT geometry is not
  // stored, so a reopened FAT result reads through its extents alone.
  v->fat.u8SectorPerCluster = static_cast<std::uint8_t>(v->blockSize & 0xFF);
  if (!keys.reason().empty()) return Result::failure(keys.reason());
  // A volume of a device's partition list is stored without "startSector"; its file system's start is
  // where it begins (a wrapped HFS+ volume is then read from its own header). Without it, a resumed
  // search of a volume inside an image or a disk would read the device's first sectors as the volume's.
  if (v->volumeScanType == 2 && object->find("startSector") == nullptr) v->startSector = v->HPlusVolStart;
  // Every read multiplies by the sector size; a stored 0 (or a negative one) would divide by nothing
  // later, so it is taken as the 512 a drive without the key gets.
  if (v->u32BytesInSector <= 0) v->u32BytesInSector = 512;
  v->sizeInBytes = v->sizeInSect * static_cast<std::uint64_t>(v->u32BytesInSector);
  return Result::success(std::move(v));
}

std::shared_ptr<Volume> mutableCopyOfVolume(const Volume& v) {
  auto copy = std::make_shared<Volume>();
  copy->volumeScanType = v.volumeScanType;
  copy->path = v.path;
  copy->volumeName = v.volumeName;
  copy->model = v.model;
  copy->serial = v.serial;
  copy->revision = v.revision;
  copy->sizeInSect = v.sizeInSect;
  copy->sizeInBytes = v.sizeInBytes;
  copy->HPlusVolStart = v.HPlusVolStart;
  copy->blockSize = v.blockSize;
  copy->volumeContent = v.volumeContent;
  copy->scanMode = v.scanMode;
  copy->totalBlocks = v.totalBlocks;
  copy->supportsFileSystemRecovery = v.supportsFileSystemRecovery;
  copy->u32BytesInSector = v.u32BytesInSector;
  copy->startSector = v.startSector;
  copy->parentDrivePath = v.parentDrivePath;
  copy->blocksStartsAtSector = v.blocksStartsAtSector;
  copy->counters.entryCount = v.counters.entryCount;
  copy->counters.fileCount = v.counters.fileCount;
  copy->counters.folderCount = v.counters.folderCount;
  copy->counters.dataSize = v.counters.dataSize;
  copy->maxFileID = v.maxFileID;
  copy->startPos = v.startPos;
  copy->endPos = v.endPos;
  copy->fat.u8SectorPerCluster = v.fat.u8SectorPerCluster;
  copy->fat.u32RootDirectoryStart = v.fat.u32RootDirectoryStart;
  copy->fat.u32RootDirectorySectors = v.fat.u32RootDirectorySectors;
  copy->setContext(v.context());
  return copy;
}

KeyedValue encodePartitionRows(const std::vector<PartitionRow>& rows) {
  std::vector<KeyedValue> items;
  items.reserve(rows.size());
  for (const PartitionRow& row : rows) items.push_back(encodeDict(row.toDict()));
  return KeyedValue::array(std::move(items));
}

Parsed<std::vector<PartitionRow>> decodePartitionRows(const KeyedValue& value) {
  using Result = Parsed<std::vector<PartitionRow>>;
  if (value.kind() != KeyedKind::kArray) return Result::failure("session partitions: the blob holds no array");
  std::vector<PartitionRow> rows;
  rows.reserve(value.asArray().size());
  for (const KeyedValue& item : value.asArray()) {
    Dict dict;
    if (!decodeDict(item, dict)) return Result::failure("session partitions: an element is not a dictionary");
    rows.push_back(PartitionRow::fromDict(dict));
  }
  return Result::success(std::move(rows));
}

}  // namespace nua
