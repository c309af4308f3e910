// What the command line marks for --select, and a whole run from marks to saved files.
#include "save/recover_to_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "view/view_test_tree.h"

namespace nua {
namespace {

using testing_view::TestTree;

TEST(RecoverToFolderTest, SelectionsMarkByNamePathOrDeletedState) {
  TestTree tree;
  Entry* docs = tree.folder(tree.root, u"docs");
  Entry* a = tree.file(docs, u"a.txt", 1);
  Entry* b = tree.file(docs, u"b.jpg", 1, true);
  Entry* c = tree.file(tree.root, u"c.txt", 1);
  tree.finish();
  TreeViewState view(tree.arena, tree.root);
  EXPECT_EQ(markSelection(view, {"*.txt"}), 2U);
  EXPECT_EQ(a->selected + c->selected, 2);
  EXPECT_EQ(b->selected, 0);
  view.setMark(tree.root, false);
  EXPECT_EQ(markSelection(view, {"docs/*"}), 2U);
  EXPECT_EQ(c->selected, 0);
  view.setMark(tree.root, false);
  EXPECT_EQ(markSelection(view, {"deleted"}), 1U);
  EXPECT_EQ(b->selected, 1);
  EXPECT_EQ(view.markedFiles(), 1U);
}

TEST(RecoverToFolderTest, DeletedOnlyInTheFileTypesViewSavesTheDeletedFilesByExtension) {
  namespace fs = std::filesystem;
  char pattern[] = "/tmp/nua-view-recover-XXXXXX";
  ASSERT_NE(::mkdtemp(pattern), nullptr);
  const fs::path work = pattern;
  std::string bytes(64 * 512, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 + i / 512);
  std::ofstream(work / "src.img", std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));

  Volume volume;
  volume.path = (work / "src.img").string();
  TestTree tree;
  volume.arena = tree.arena;
  volume.dirRoot = tree.root;
  Entry* docs = tree.folder(tree.root, u"docs");
  Entry* live = tree.file(docs, u"live.txt", 100);
  Entry* gone = tree.file(docs, u"gone.txt", 700, true);
  addDataExtStartBlock(3, 2, live);
  addDataExtStartBlock(10, 2, gone);
  tree.finish();

  SilentUiBridge ui;
  const RecoverResult result =
      recoverToFolder(volume, {(work / "out").string(), {"all"}, true, true}, ui, nullptr);
  ASSERT_TRUE(result.saved) << result.message;
  EXPECT_EQ(result.report.saveCount, 1U);
  std::ifstream in(work / "out" / "Root" / "txt [1]" / "gone.txt", std::ios::binary);
  const std::string saved((std::istreambuf_iterator<char>(in)), {});
  EXPECT_EQ(saved, bytes.substr(10 * 512, 700));
  EXPECT_FALSE(fs::exists(work / "out" / "Root" / "txt [1]" / "live.txt"));
  fs::remove_all(work);
}

}  // namespace
}  // namespace nua
