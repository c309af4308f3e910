// The image writer: sparse file of the final size, reads back what was written, refuses writes past the end.
#include "imagekit/image_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <vector>

#include "imagekit/kit_tool_runner.h"

namespace nua::imagekit {
namespace {

TEST(ImageWriter, FileIsSparseAndHoldsTheWrites) {
  const std::string path = test::scratchDirectory("image") + "/sparse.img";
  constexpr std::uint64_t kBytes = 1ull << 32;
  ImageWriter out(path, kBytes);
  ASSERT_TRUE(out.ok()) << out.error();
  const std::vector<std::byte> data(100, std::byte{0x5A});
  out.write(kBytes - 100, data);
  out.write(4096, data);
  out.write(4196, data);  // adjacent: gathered into one write
  std::vector<std::byte> back(200);
  ASSERT_TRUE(out.read(4096, back));
  EXPECT_EQ(back[0], std::byte{0x5A});
  EXPECT_EQ(back[199], std::byte{0x5A});
  ASSERT_TRUE(out.finish()) << out.error();
  struct stat info {};
  ASSERT_EQ(::stat(path.c_str(), &info), 0);
  EXPECT_EQ(static_cast<std::uint64_t>(info.st_size), kBytes);
  EXPECT_LT(static_cast<std::uint64_t>(info.st_blocks) * 512, 1u << 20);
}

TEST(ImageWriter, WritePastEndFailsOnce) {
  ImageWriter out = ImageWriter::inMemory(1024);
  const std::vector<std::byte> data(16, std::byte{1});
  out.write(1020, data);
  EXPECT_FALSE(out.ok());
  out.write(0, data);  // ignored after the failure
  EXPECT_EQ(out.bytes()[0], std::byte{0});
  EXPECT_FALSE(out.finish());
}

TEST(ImageWriter, MemoryImageReadsBack) {
  ImageWriter out = ImageWriter::inMemory(64);
  const std::vector<std::byte> data{std::byte{1}, std::byte{2}};
  out.write(62, data);
  std::vector<std::byte> back(2);
  ASSERT_TRUE(out.read(62, back));
  EXPECT_EQ(back, data);
  EXPECT_FALSE(out.read(63, back));
}

}  // namespace
}  // namespace nua::imagekit
