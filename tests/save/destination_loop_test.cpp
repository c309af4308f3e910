// The destination check on real loop devices: a folder on a loop mount of the source image, of an
// image inside it, or of a partition of it is refused; a folder beside the image is not. Attaching and
// mounting needs root, losetup and mkfs.ext4; the test is skipped, saying why, where they are missing.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "save/save_run.h"
#include "view/view_test_tree.h"

namespace nua {
namespace {

namespace fs = std::filesystem;
using testing_view::TestTree;

// Runs a shell command; its first line of output, or nullopt when it failed.
std::optional<std::string> run(const std::string& command) {
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen((command + " 2>/dev/null").c_str(), "r"), ::pclose);
  if (!pipe) return std::nullopt;
  char line[512] = {};
  const bool got = std::fgets(line, sizeof line, pipe.get()) != nullptr;
  const int status = ::pclose(pipe.release());
  if (status != 0) return std::nullopt;
  std::string text = got ? line : "";
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

// Loop devices and mounts made by one test, undone in reverse order whatever happens.
class LoopStack {
 public:
  ~LoopStack() {
    for (auto it = mounts_.rbegin(); it != mounts_.rend(); ++it) ::umount2(it->c_str(), MNT_DETACH);
    for (auto it = loops_.rbegin(); it != loops_.rend(); ++it) (void)run("losetup -d " + *it);
  }
  // Attaches image with losetup's extra options ("-P" for its partitions, "-o BYTES" at an offset);
  // the loop device's path, or empty.
  std::string attach(const fs::path& image, const std::string& options = "") {
    const auto device = run("losetup -f --show " + options + " " + image.string());
    if (!device || device->empty()) return {};
    loops_.push_back(*device);
    return *device;
  }
  // Makes an ext4 file system on device and mounts it at folder.
  bool mountNew(const std::string& device, const fs::path& folder) {
    fs::create_directories(folder);
    if (!run("mkfs.ext4 -q -F " + device)) return false;
    if (::mount(device.c_str(), folder.c_str(), "ext4", 0, nullptr) != 0) return false;
    mounts_.push_back(folder.string());
    return true;
  }

 private:
  std::vector<std::string> loops_;
  std::vector<std::string> mounts_;
};

class DestinationLoopTest : public testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "skipped: attaching and mounting loop devices needs root";
    if (!run("command -v losetup") || !run("command -v mkfs.ext4")) {
      GTEST_SKIP() << "skipped: losetup and mkfs.ext4 (util-linux, e2fsprogs) are needed";
    }
    char pattern[] = "/tmp/nua-view-loop-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    work = pattern;
    image = work / "source.img";
    makeFile(image, 16);
    outer = loops->attach(image);
    if (outer.empty()) GTEST_SKIP() << "skipped: this machine gives no loop device (losetup -f failed)";
    if (!loops->mountNew(outer, work / "outer")) GTEST_SKIP() << "skipped: mounting an ext4 loop device failed here";
    fs::create_directory(work / "outer" / "saved");
    view = std::make_unique<TreeViewState>(tree.arena, tree.root);
    view->setMark(tree.root, true);
  }
  void TearDown() override {
    view.reset();
    loops.reset();
    if (!work.empty()) fs::remove_all(work);
  }

  static void makeFile(const fs::path& path, std::uintmax_t mebibytes) {
    std::ofstream(path, std::ios::binary).close();
    fs::resize_file(path, mebibytes << 20);
  }

  // Whether SaveRun takes `folder` when recovering from `sourcePath`; the refusal is checked too.
  bool accepted(const std::string& sourcePath, const fs::path& folder) {
    MediaReader source;
    source.initWithDictionary(Dict{{"Path", sourcePath}, {"Preferred Block Size", 512}, {"Size", std::uint64_t{1} << 24}},
                              MediaContext{});
    SaveRun run(source, *view, ui);
    const bool ok = run.checkDestination(folder.string());
    if (!ok) {
      EXPECT_EQ(ui.alerts.back().title, "! Can not save");
      EXPECT_NE(ui.alerts.back().text.find("on the drive or volume being recovered"), std::string::npos);
    }
    return ok;
  }

  fs::path work, image;
  std::string outer;
  std::unique_ptr<LoopStack> loops = std::make_unique<LoopStack>();
  TestTree tree;
  Entry* file = tree.file(tree.root, u"a.txt", 10);  // 10 bytes marked: any folder has the room
  std::unique_ptr<TreeViewState> view;
  RecordingUiBridge ui;
};

TEST_F(DestinationLoopTest, AFolderOnALoopMountOfTheSourceImageIsRefused) {
  EXPECT_FALSE(accepted(image.string(), work / "outer" / "saved"));
  EXPECT_TRUE(accepted(image.string(), work));  // beside the image, on the disk that holds it
}

TEST_F(DestinationLoopTest, TheLoopDeviceItselfAsSourceRefusesItsMount) {
  EXPECT_FALSE(accepted(outer, work / "outer" / "saved"));
  EXPECT_TRUE(accepted(outer, work));
}

TEST_F(DestinationLoopTest, AnImageInsideTheSourceImageMountedOnItsOwnLoopIsRefused) {
  const fs::path inner = work / "outer" / "inner.img";
  makeFile(inner, 4);
  const std::string innerDevice = loops->attach(inner);
  if (innerDevice.empty() || !loops->mountNew(innerDevice, work / "inner")) {
    GTEST_SKIP() << "skipped: a second loop device could not be attached and mounted";
  }
  EXPECT_FALSE(accepted(image.string(), work / "inner"));
  EXPECT_FALSE(accepted(outer, work / "inner"));
  EXPECT_TRUE(accepted(inner.string(), work));
}

TEST_F(DestinationLoopTest, APartitionOfTheSourceImageOnALoopDeviceIsRefused) {
  const fs::path disk = work / "disk.img";
  makeFile(disk, 8);
  if (!run("command -v sfdisk") || !run("echo 'start=2048, type=83' | sfdisk -q " + disk.string())) {
    GTEST_SKIP() << "skipped: sfdisk is needed to partition the image";
  }
  // The kernel's own partition of the loop device where it scans for them; else the partition
  // attached alone at its offset, as one mounts a partition of an image by hand.
  const std::string device = loops->attach(disk, "-P");
  std::string partition = device + "p1";
  if (device.empty() || !fs::exists(partition)) partition = loops->attach(disk, "-o 1048576");
  if (partition.empty() || !loops->mountNew(partition, work / "part")) {
    GTEST_SKIP() << "skipped: a partition of the image could not be attached and mounted here";
  }
  EXPECT_FALSE(accepted(disk.string(), work / "part"));
  EXPECT_FALSE(accepted(device, work / "part"));
  EXPECT_TRUE(accepted(image.string(), work / "part"));  // another image's loop mount is fine
}

}  // namespace
}  // namespace nua
