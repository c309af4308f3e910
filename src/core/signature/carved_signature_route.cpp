// The signature tables' route into the tree: a folder named after the extension ("jpg files"), or the
// folder path a check read from the data, files numbered "File%d.%@" in it, and RTFD packages as a
// folder holding "TXT.rtf".
#include "base/text.h"
#include "records/entry_ops.h"
#include "signature/carved_entry_registrar.h"

namespace nua {
namespace {

std::u16string nameOf(const Entry* entry) { return EntryArena::fileNameOfDir(entry).value_or(u""); }

std::u16string numberedFile(std::uint32_t number, const std::string& extension) {
  return toUtf16("File" + std::to_string(number) + "." + extension);
}

}  // namespace

Entry* CarvedEntryRegistrar::extensionFolder(const std::string& extension, bool& created) {
  const std::u16string title = toUtf16(formatText("%@ files", {extension}));
  Entry* root = setup_.root;
  for (Entry* child : root->childList) {
    if (child->fileType == 1 && nameOf(child) == title) {
      created = false;
      return child;
    }
  }
  created = true;
  Entry* folder = newRecord(1, title, root);
  setup_.arena->setPathName(u"/" + nameOf(root), folder);
  addChild(folder, root);
  raiseAncestorCountsForFolder(folder);
  write(folder);
  ++counters_.folderCount;
  ++counters_.entryCount;
  return folder;
}

Entry* CarvedEntryRegistrar::folderPath(const std::string& path) {
  Entry* folder = setup_.root;
  std::u16string pathSoFar = u"/" + nameOf(folder);
  std::size_t start = 0;
  while (start <= path.size()) {
    const std::size_t slash = std::min(path.find('/', start), path.size());
    const std::u16string component = toUtf16(path.substr(start, slash - start));
    start = slash + 1;
    if (component.empty()) continue;
    Entry* next = nullptr;
    for (Entry* child : folder->childList) {
      if (child->fileType == 1 && nameOf(child) == component) next = child;
    }
    if (next == nullptr) {
      next = newRecord(1, component, folder);
      setup_.arena->setPathName(pathSoFar, next);
      addChild(next, folder);
      raiseAncestorCountsForFolder(next);
      write(next);
      ++counters_.folderCount;
      ++counters_.entryCount;
    }
    pathSoFar += u"/" + component;
    folder = next;
  }
  return folder;
}

void CarvedEntryRegistrar::addSignatureFind(const CarvedPosition& at, const Sig& row, FormatContext& context) {
  const std::uint64_t size = sizeOfSignatureFind(row);
  // An RTF with a skip is the text of an RTFD package; its pictures are looked for after it.
  const bool rtfdWrapper = row.extension == "rtf" && row.skipSize != 0 && !context.foundParentPath;
  bool created = false;
  Entry* folder = context.foundParentPath ? folderPath(*context.foundParentPath) : extensionFolder(row.extension, created);
  std::u16string name = context.foundName ? toUtf16(*context.foundName + "." + row.extension)
                                          : numberedFile(folder->childListCount() + 1, row.extension);
  if (rtfdWrapper) {
    Entry* package = newRecord(1, numberedFile(folder->childListCount() + 1, "rtfd"), folder);
    setup_.arena->setPathName(EntryArena::pathNameOfDir(folder).value_or(u"") + u"/" + nameOf(folder), package);
    addChild(package, folder);
    raiseAncestorCountsForFolder(package);
    write(package);
    ++counters_.folderCount;
    ++counters_.entryCount;
    context.rtfd.wrapperBlockNumber = at.recordedSector;
    context.rtfd.parentFolderId = package->fileID;
    folder = package;
    name = u"TXT.rtf";
  }
  Entry* file = newRecord(2, name, folder);
  setup_.arena->setPathName(EntryArena::pathNameOfDir(folder).value_or(u"") + u"/" + nameOf(folder), file);
  setup_.arena->setExtension(toUtf16(row.extension), file);
  setExtent(file, at.recordedSector, size);
  addChild(file, folder);
  raiseAncestorCountsForFile(file);
  write(file);
  ++counters_.fileCount;
  ++counters_.entryCount;
  counters_.dataSize += size;
  setup_.writer->synchronise();
}

}  // namespace nua
