// The FAT free-space search run by the real scan thread entry on a FAT16 volume made by mkfs.fat and
// mtools: it finds the deleted photo the directory walk cannot, and neither the live one nor the
// deleted one the walk already recovered.
#include <gtest/gtest.h>

#include <algorithm>

#include "app/scan_run.h"
#include "app/signature_search_support.h"
#include "imagekit/demo_scenarios.h"
#include "imagekit/fat_tool_runner.h"

namespace nua {
namespace {

using namespace searchtest;

// A FAT16 volume by mkfs.fat with a live photo, a deleted one whose directory entry is still there
// (the walk recovers it, so the search leaves it alone) and a deleted one whose entry was wiped.
struct FatFixture {
  std::string path;
  std::uint64_t sectors = 0;
  Photo live, kept, gone;
  std::uint64_t goneSector = 0;
};

FatFixture makeFatFixture() {
  FatFixture fixture;
  const fs::path image = imageFolder() / "fat16.img";
  fixture.path = image.string();
  std::string error;
  EXPECT_TRUE(imagekit::runToolChecked({"mkfs.fat", "-C", "-F", "16", "-s", "2", fixture.path, "8192"}, error)) << error;
  const std::vector<std::pair<std::string, imagekit::DemoPhoto>> files{
      {"LIVE.JPG", {"LIVE.JPG", 320, 240, 8, false}},
      {"KEPT.PNG", {"KEPT.PNG", 200, 150, 0, true}},
      {"GONE.JPG", {"GONE.JPG", 480, 360, 10, true}}};
  std::vector<std::vector<std::byte>> contents;
  std::uint64_t seed = 40;
  for (const auto& [name, photo] : files) {
    contents.push_back(imagekit::demoPhotoBytes(photo, ++seed));
    const fs::path local = imageFolder() / name;
    std::ofstream(local, std::ios::binary)
        .write(reinterpret_cast<const char*>(contents.back().data()), static_cast<std::streamsize>(contents.back().size()));
    EXPECT_TRUE(imagekit::runToolChecked({"mcopy", "-i", fixture.path, local.string(), "::/" + name}, error)) << error;
  }
  for (const char* name : {"KEPT.PNG", "GONE.JPG"}) {
    EXPECT_TRUE(imagekit::runToolChecked({"mdel", "-i", fixture.path, std::string("::/") + name}, error)) << error;
  }
  std::fstream bytes(fixture.path, std::ios::binary | std::ios::in | std::ios::out);
  std::vector<char> all((std::istreambuf_iterator<char>(bytes)), std::istreambuf_iterator<char>());
  fixture.sectors = all.size() / 512;
  // The deleted entry of GONE.JPG (first byte 0xE5) becomes an end-of-directory entry.
  const std::string deletedName = "\xE5ONE    JPG";
  const auto entry = std::search(all.begin(), all.end(), deletedName.begin(), deletedName.end());
  EXPECT_NE(entry, all.end());
  bytes.clear();
  bytes.seekp(entry - all.begin());
  const std::string zeros(32, '\0');
  bytes.write(zeros.data(), 32);
  Photo* photos[] = {&fixture.live, &fixture.kept, &fixture.gone};
  for (std::size_t i = 0; i < contents.size(); ++i) {
    *photos[i] = Photo{contents[i].size(), imagekit::sha256Hex(contents[i])};
  }
  const auto* first = reinterpret_cast<const char*>(contents[2].data());
  for (std::size_t at = 0; at + 512 <= all.size(); at += 512) {
    if (std::equal(first, first + 512, all.begin() + static_cast<std::ptrdiff_t>(at))) fixture.goneSector = at / 512;
  }
  EXPECT_NE(fixture.goneSector, 0U);
  return fixture;
}

TEST(FatSignatureSearch, FreeSpaceSearchFindsOnlyTheDeletedPhotoTheTreeLacks) {
  const FatFixture fat = makeFatFixture();
  const std::set<Photo> known{fat.live, fat.kept, fat.gone};
  for (const std::int64_t method : {0, 1}) {
    auto volume = volumeAt(fat.path, 0, fat.sectors, "FAT16");
    RecordingSink sink;
    scanForDeletedFiles(*volume, ScanArguments{std::int64_t{1}, std::int64_t{1}, photoSignatures(method == 1), method},
                        sink);
    const std::vector<Carved> carved = carvedFiles(*volume, fat.path, known, carvedFolders(method));
    ASSERT_EQ(carved.size(), 1U) << method;
    EXPECT_EQ(carved[0].photo.sha256, fat.gone.sha256);
    EXPECT_EQ(carved[0].absoluteSector, fat.goneSector);
    EXPECT_EQ(carved[0].folder, method == 0 ? "jpg files" : "JPG Files");
    EXPECT_EQ(carved[0].name, method == 0 ? "File1.jpg" : "file1.jpg");
    ASSERT_TRUE(sink.completion);
    EXPECT_EQ(sink.completion->status, "Tree Completed ...");
  }
}

}  // namespace
}  // namespace nua
