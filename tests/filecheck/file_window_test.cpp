// The shared read window: fields anywhere in a long file read right, including across the edge of
// a 64 KiB window, past the device end read as zeros, and a failed read is reported once and sticks.
#include "filecheck/file_window.h"

#include <gtest/gtest.h>

#include "file_check_test_support.h"

namespace nua {
namespace {

using namespace testing_support;

Bytes patternedFile(std::size_t size) {
  Bytes file(size);
  for (std::size_t i = 0; i < size; ++i) file[i] = static_cast<std::byte>((i * 7 + i / 251) & 0xFF);
  return file;
}

TEST(FileWindow, FieldsReadRightAnywhereIncludingAcrossTheWindowEdge) {
  const Bytes file = patternedFile(300000);
  MemorySectorSource source = deviceWithFile(file);
  FileCheckScanState state;
  FileWindow window(source, state, kFileSector);
  // Forwards, backwards and straddling every 64 KiB edge, so both the slide and the jump are used.
  for (std::uint64_t offset : {0ull, 4ull, 0xFFFEull, 0xFFFDull, 0x10000ull, 100ull, 0x1FFFFull, 0x2FFFEull,
                               250000ull, 17ull, 299996ull}) {
    EXPECT_EQ(window.be32At(offset), be32(file, offset)) << offset;
    EXPECT_EQ(window.le16At(offset), le16(file, offset)) << offset;
  }
  EXPECT_FALSE(window.failed());
}

TEST(FileWindow, BytesPastTheDeviceEndReadAsZero) {
  MemorySectorSource source = deviceWithFile(Bytes(1000, std::byte{0xEE}), {});
  FileCheckScanState state;
  FileWindow window(source, state, kFileSector);
  EXPECT_EQ(window.byteAt(999), 0xEE);
  EXPECT_EQ(window.be32At(1000), 0u);
  EXPECT_EQ(window.be32At(5'000'000), 0u);
  EXPECT_FALSE(window.failed());
}

TEST(FileWindow, AFailedReadIsReportedOnceThroughTheCallbackAndSticks) {
  FailingSectorSource source;
  FileCheckScanState state;
  std::vector<std::uint64_t> reported;
  state.onReadError = [&](std::uint64_t sector) { reported.push_back(sector); };
  FileWindow window(source, state, 40);
  EXPECT_EQ(window.be32At(70000), 0u);
  EXPECT_EQ(window.be32At(0), 0u);
  EXPECT_TRUE(window.failed());
  EXPECT_EQ(reported, std::vector<std::uint64_t>{40 + 70000 / 512});
}

}  // namespace
}  // namespace nua
