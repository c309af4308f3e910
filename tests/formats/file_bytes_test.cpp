// The windowed reader under every check: fields across the window's end, zeros past the source, and
// no bytes of an earlier read past the end.
#include "formats/detail/file_bytes.h"

#include <gtest/gtest.h>

#include "format_test_support.h"

namespace nua::formats {
namespace {

TEST(FileBytes, FieldAcrossTheWindowEndIsReadWhole) {
  test::Bytes device(4 * 512);
  device.be32(510, 0xA1B2C3D4).be32(1022, 0x01020304);
  MemorySectorSource source(device.data(), 512);
  FileBytes file(source, 0, 2);
  EXPECT_EQ(file.be32At(510), 0xA1B2C3D4u);
  EXPECT_EQ(file.be32At(1022), 0x01020304u);  // straddles the first two-sector window
  EXPECT_EQ(file.be32At(510), 0xA1B2C3D4u);   // and back
}

TEST(FileBytes, PastTheSourceEndEveryByteIsZeroNotAnEarlierRead) {
  test::Bytes device(2 * 512);
  device.fill(0, 1024, 0xEE);
  MemorySectorSource source(device.data(), 512);
  FileBytes file(source, 1, 2);
  EXPECT_EQ(file.byteAt(0), 0xEE);
  EXPECT_EQ(file.byteAt(511), 0xEE);
  EXPECT_EQ(file.byteAt(512), 0x00);
  EXPECT_EQ(file.be64At(5000), 0u);
  EXPECT_EQ(file.be64At(UINT64_MAX - 3), 0u);  // a position near the top of the range
  EXPECT_TRUE(file.pastSourceEnd(512));
  EXPECT_FALSE(file.pastSourceEnd(511));
  // A read that starts before the end and runs past it has zeros for the missing part.
  EXPECT_EQ(file.be32At(510), 0xEEEE0000u);
}

TEST(FileBytes, AFieldLongerThanTheWindowWidensIt) {
  test::Bytes device(8 * 512);
  device.fill(0, 8 * 512, 0x11);
  MemorySectorSource source(device.data(), 512);
  FileBytes file(source, 0, 2);
  const ByteSpan bytes = file.at(100, 3000);
  ASSERT_EQ(bytes.size(), 3000u);
  EXPECT_EQ(u8(bytes, 2999), 0x11);
}

}  // namespace
}  // namespace nua::formats
