#include "signature/carved_entry_registrar.h"

#include <algorithm>
#include <array>
#include <limits>

#include "base/text.h"
#include "filecheck/file_check.h"
#include "filecheck/x3f_file_check.h"
#include "records/entry_ops.h"

namespace nua {
namespace {

struct FolderRow {
  std::string_view key;
  FileCheckFolderName name;
};

// The file-check formats' folders, by the check's parentKey. PEF finds are named ".pef", like the
// folder they sit in.
constexpr std::array<FolderRow, 39> kFolders{{
    {"mpg", {"MPG Files", ".mpg"}},          {"mrw", {"MRW Files", ".mrw"}},
    {"amr", {"AMR Files", ".amr"}},          {"ra", {"RA Files", ".ra"}},
    {"rm", {"RM Files", ".rm"}},             {"psd", {"PSD Files", ".psd"}},
    {"bmp", {"BMP Files", ".bmp"}},          {"raf", {"RAF Files", ".raf"}},
    {"x3f", {"X3F Files", ".x3f"}},          {"aif", {"AIFF Files", ".aiff"}},
    {"gif", {"GIF Files", ".gif"}},          {"mp3", {"MP3 Files", ".mp3"}},
    {"arw", {"ARW Files", ".arw"}},          {"sr2", {"SR2 Files", ".sr2"}},
    {"kdc", {"Kodak KDC Files", ".kdc"}},    {"k25", {"Kodak K25 Files", ".k25"}},
    {"dcr", {"Kodak DCR Files", ".dcr"}},    {"pef", {"PEF Files", ".pef"}},
    {"dng", {"DNG Files", ".dng"}},          {"cr2", {"CR2 Files", ".cr2"}},
    {"nef", {"NEF Files", ".nef"}},          {"tiff", {"TIFF Files", ".tiff"}},
    {"orf", {"ORF Files", ".orf"}},          {"raw", {"Panasonic Files", ".raw"}},
    {"lei", {"Leica Files", ".raw"}},        {"3fr", {"Hasselblad Files", ".3fr"}},
    {"crw", {"CRW Files", ".crw"}},          {"mid", {"MID Files", ".mid"}},
    {"avi", {"AVI Files", ".avi"}},          {"wav", {"WAV Files", ".wav"}},
    {"png", {"PNG Files", ".png"}},          {"jpg", {"JPG Files", ".jpg"}},
    {"mov", {"MOV Files", ".mov"}},          {"mp4", {"MP4 Files", ".mp4"}},
    {"m4a", {"M4A Files", ".m4a"}},          {"m4b", {"M4B Files", ".m4b"}},
    {"m4v", {"M4V Files", ".m4v"}},          {"3gp", {"3GP Files", ".3gp"}},
    {"3g2", {"3G2 Files", ".3g2"}},
}};

constexpr std::string_view kRawJpgKey = "RAW Jpg Files";

std::u16string numbered(std::string_view format, std::uint32_t number, std::string_view extension) {
  std::string text(format);
  text.replace(text.find("%d"), 2, std::to_string(number));
  return toUtf16(formatText(text, {std::string(extension)}));
}

std::u16string nameOf(const Entry* entry) { return EntryArena::fileNameOfDir(entry).value_or(u""); }

Entry* childNamed(const Entry* folder, const std::u16string& name) {
  for (Entry* child : folder->childList) {
    if (child->fileType == 1 && nameOf(child) == name) return child;
  }
  return nullptr;
}

}  // namespace

const FileCheckFolderName* fileCheckFolderName(std::string_view parentKey) {
  for (const FolderRow& row : kFolders) {
    if (row.key == parentKey) return &row.name;
  }
  return nullptr;
}

CarvedEntryRegistrar::CarvedEntryRegistrar(const CarvedRegistrarSetup& setup) : setup_(setup) {
  if (setup_.writer == nullptr) setup_.writer = &nullWriter_;
  if (setup_.bytesPerSector == 0) setup_.bytesPerSector = 512;
}

std::uint64_t CarvedEntryRegistrar::sizeOfSignatureFind(const Sig& row) const {
  if (row.foundSize != 0 && row.foundSize < setup_.deviceBytes) return row.foundSize;
  if (row.userSize != 0) return row.userSize << 20U;
  return static_cast<std::uint32_t>(std::uint64_t{row.defaultSize} << 20U);
}

Entry* CarvedEntryRegistrar::newRecord(std::uint16_t fileType, const std::u16string& name, Entry* parent) {
  Entry* entry = setup_.arena->newDir();
  entry->fileType = fileType;
  entry->fileID = ++*setup_.maxFileID;
  entry->parentID = parent->fileID;
  entry->parent = parent;
  entry->deleted = 1;
  entry->sectorsPerBlock = 1;
  setup_.arena->setFileName(name, entry);
  return entry;
}

void CarvedEntryRegistrar::setExtent(Entry* file, std::uint64_t sector, std::uint64_t sizeBytes) const {
  file->fileSize = sizeBytes;
  file->fileCount = 1;
  const std::uint64_t sectors = (sizeBytes + setup_.bytesPerSector - 1) / setup_.bytesPerSector;
  // Extents count blocks in 32 bits. Past 2^32 sectors (2 TiB of 512-byte sectors) a find is kept in
  // larger blocks counted from a base sector below one block, so its first block still starts at its
  // own sector; past what 128-sector blocks reach it gets no extent and can't be saved as wrong bytes.
  std::uint64_t perBlock = 1;
  while (sector / perBlock > std::numeric_limits<std::uint32_t>::max() && perBlock < 128) perBlock *= 2;
  if (sector / perBlock > std::numeric_limits<std::uint32_t>::max()) return;
  file->sectorsPerBlock = static_cast<std::uint8_t>(perBlock);
  file->blockBaseSector = static_cast<std::uint32_t>(sector % perBlock);
  const std::uint64_t blocks = std::min<std::uint64_t>((sectors + perBlock - 1) / perBlock,
                                                       std::numeric_limits<std::uint32_t>::max());
  addDataExtStartBlock(static_cast<std::uint32_t>(sector / perBlock), static_cast<std::uint32_t>(blocks), file);
}

Entry* CarvedEntryRegistrar::fileCheckFolder(std::string_view parentKey, std::string_view extensionOverride) {
  const auto known = fileCheckFolders_.find(parentKey);
  Entry* folder = known == fileCheckFolders_.end() ? nullptr : known->second;
  if (folder == nullptr) {
    const FileCheckFolderName* name = fileCheckFolderName(parentKey);
    const std::u16string title = toUtf16(name != nullptr ? name->title : parentKey == kRawJpgKey ? kRawJpgKey : parentKey);
    Entry* root = setup_.root;
    // A resumed search carries on in the folders the first run made.
    if (setup_.resumed) folder = childNamed(root, title);
    if (folder == nullptr) {
      folder = newRecord(1, title, root);
      folder->parentID = kRootID;
      setup_.arena->setPathName(u"/" + nameOf(root), folder);
    }
    if (name != nullptr) setup_.arena->setExtension(toUtf16(name->extension.substr(1)), folder);
    folder->extraBytesToMove = 0;
    fileCheckFolders_.emplace(std::string(parentKey), folder);
  }
  if (!extensionOverride.empty()) setup_.arena->setExtension(toUtf16(extensionOverride), folder);
  return folder;
}

void CarvedEntryRegistrar::addCarvedFile(Entry* folder, const std::u16string& name, std::uint64_t recordedSector,
                                         std::uint64_t sizeBytes, std::uint32_t extraBytes, bool raiseRootSize) {
  Entry* root = setup_.root;
  Entry* file = newRecord(2, name, folder);
  file->extraBytesToMove = extraBytes;
  setup_.arena->setPathName(nameOf(folder) + u"/" + nameOf(root), file);
  setExtent(file, recordedSector, sizeBytes);
  folder->fileSize += sizeBytes;
  if (raiseRootSize) root->fileSize += sizeBytes;
  ++root->childrenCount;
  ++root->fileCount;
  ++folder->childrenCount;
  ++folder->fileCount;
  folder->deleted = 1;
  folder->parent = root;
  if (folder->childListCount() == 0 && !dirIsChildOfDir(folder, root)) {
    ++root->childrenCount;
    addChild(folder, root);
    write(folder);
    ++counters_.folderCount;
    ++counters_.entryCount;
  }
  write(file);
  addChild(file, folder);
  ++counters_.fileCount;
  ++counters_.entryCount;
  counters_.dataSize += sizeBytes;
  setup_.writer->synchronise();
}

void CarvedEntryRegistrar::addFileCheckFind(const CarvedPosition& at, const FileCheck& check, std::uint64_t sizeBytes) {
  // X3F finds take the extension the check read from the file.
  const auto* x3f = dynamic_cast<const X3fFileCheck*>(&check);
  const std::string_view x3fExtension =
      x3f != nullptr && x3f->extensionOfFile().size() > 1 ? std::string_view(x3f->extensionOfFile()).substr(1) : "";
  Entry* folder = fileCheckFolder(check.parentKey(), x3fExtension);
  const std::u16string extension = EntryArena::extensionOfDir(folder).value_or(u"");
  addCarvedFile(folder, numbered("file%d.%@", folder->childrenCount + 1, toUtf8(extension)), at.recordedSector,
                sizeBytes, 0, true);
}

void CarvedEntryRegistrar::addRawJpgFind(const CarvedPosition& at, std::uint32_t extraBytes, std::uint64_t sizeBytes) {
  Entry* folder = fileCheckFolder(kRawJpgKey, {});
  addCarvedFile(folder, numbered("file - Raw Jpg%d.jpg", folder->childrenCount + 1, ""), at.recordedSector, sizeBytes,
                extraBytes, false);
}

}  // namespace nua
