// `nua-recover preview TARGET-OR-SESSION --entry PATH [--out FILE]`: the bytes a preview of one entry
// would show, for scripts: the embedded JPEG of a camera RAW file, the cover of a tagged MP3, or else
// the gathered bytes (up to 50,000,000).
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "app/session_file_name.h"
#include "base/text.h"
#include "commands.h"
#include "picture/camera_raw_thumbnail.h"
#include "view/id3_tag.h"
#include "view/preview_data.h"
#include "view/preview_plan.h"
#include "view/tree_find.h"
#include "view/tree_view_state.h"
#include "app/wizard_controller.h"

namespace nua::cli {

namespace {

const char* kPreviewUsage =
    "usage: nua-recover preview TARGET-OR-SESSION.nvs --entry PATH [--out FILE] [scan options]\n"
    "\n"
    "Scans TARGET (with the options of nua-recover scan) or opens the session, then writes what a\n"
    "preview of the entry at PATH (below Root, as nua-recover scan --list prints it) shows: the\n"
    "embedded JPEG of a camera RAW file, the cover picture of an MP3's tag, or else the entry's bytes\n"
    "as the preview gathers them (at most 50000000). Without --out the bytes go to standard output.\n";

Entry* entryAtPath(Entry* root, const std::string& path) {
  std::vector<Entry*> stack{root};
  while (!stack.empty()) {
    Entry* dir = stack.back();
    stack.pop_back();
    if (dir != root && pathBelowRoot(dir) == path) return dir;
    stack.insert(stack.end(), dir->childList.begin(), dir->childList.end());
  }
  return nullptr;
}

int writePreview(Volume& volume, const std::string& entryPath, const std::string& out) {
  Entry* dir = entryAtPath(volume.dirRoot, entryPath);
  if (dir == nullptr || dir->fileType != 2) {
    std::fprintf(stderr, "nua-recover: no file %s in the tree\n", entryPath.c_str());
    return 1;
  }
  if (dir->fileSize >= kPreviewSizeLimit) {
    std::fprintf(stderr, "nua-recover: %s is too large for a preview (50000000 bytes or more)\n", entryPath.c_str());
    return 1;
  }
  std::atomic<bool> abort{false};
  const PreviewGatherResult gathered = getPreviewData(previewEntryOf(*dir), previewSourceOf(volume), abort);
  if (gathered.outcome != PreviewGatherOutcome::kLoaded) {
    std::fprintf(stderr, "nua-recover: the preview of %s failed: %s\n", entryPath.c_str(),
                 gathered.outcome == PreviewGatherOutcome::kReadFailed ? "the source could not be read"
                                                                       : "its blocks or size are out of range");
    return 1;
  }
  std::string extension = previewExtensionOfName(toUtf8(shownNameOfDir(dir)));
  for (char& c : extension) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  std::vector<std::byte> bytes = gathered.data;
  std::string what = "the entry's bytes";
  if (isCameraRawFileType(extension)) {
    if (std::vector<std::byte> jpeg = embeddedJpegOfRaw(gathered.data); !jpeg.empty()) {
      bytes = std::move(jpeg);
      what = "the embedded JPEG";
    }
  } else if (hasId3Marker(gathered.data)) {
    if (const std::span<const std::byte> picture = apicPicture(gathered.data); !picture.empty()) {
      bytes.assign(picture.begin(), picture.end());
      what = "the cover picture";
    }
  }
  if (out.empty()) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) return 1;
  } else {
    std::ofstream file(out, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) {
      std::fprintf(stderr, "nua-recover: could not write %s\n", out.c_str());
      return 1;
    }
  }
  std::fprintf(stderr, "%s: %zu bytes, %s\n", entryPath.c_str(), bytes.size(), what.c_str());
  return 0;
}

}  // namespace

int previewCommand(const std::vector<std::string>& allArgs) {
  std::vector<std::string> rest;
  std::string entry;
  std::string out;
  for (std::size_t i = 0; i < allArgs.size(); ++i) {
    const std::string& word = allArgs[i];
    if (word == "--help") {
      std::fputs(kPreviewUsage, stdout);
      return 0;
    }
    if (word == "--entry" || word == "--out") {
      if (i + 1 >= allArgs.size()) {
        std::fprintf(stderr, "nua-recover preview: %s needs a value\n%s", word.c_str(), kPreviewUsage);
        return 2;
      }
      (word == "--entry" ? entry : out) = allArgs[++i];
    } else {
      rest.push_back(word);
    }
  }
  if (entry.empty() || rest.empty()) {
    std::fprintf(stderr, "nua-recover preview: a TARGET or session and --entry PATH are needed\n%s", kPreviewUsage);
    return 2;
  }
  rest.push_back("--quiet");
  const TreeAction action = [&](Volume& volume) { return writePreview(volume, entry, out); };
  const bool session = isSessionFileName(rest.front());
  return session ? openCommand(rest, action) : scanCommand(rest, action);
}

}  // namespace nua::cli
