// The HFS wrapper: a plain HFS master directory block whose embedded-volume fields locate an HFS+
// volume, as on volumes initialised for old Mac OS startup.
#include "imagekit/hfs_writer.h"

#include <array>

#include "base/bytes.h"
#include "imagekit/hfs_format.h"

namespace nua::imagekit {

namespace {

constexpr std::uint32_t kWrapperSectorSize = 512;
constexpr std::uint32_t kMasterDirectoryOffset = 1024;
constexpr std::size_t kMasterDirectorySize = 162;
constexpr std::uint32_t kBitmapStartSector = 3;
constexpr std::uint32_t kMaxWrapperBlocks = 65535;
constexpr std::uint32_t kWrapperMetadataBlocks = 2;  // one block each for the wrapper's extents and catalog files

struct WrapperLayout {
  std::uint32_t blockSize = 0;        // wrapper allocation block
  std::uint32_t firstBlockSector = 0; // drAlBlSt
  std::uint32_t blockCount = 0;
  std::uint32_t embeddedBlocks = 0;
  std::uint64_t embeddedOffset = 0;
  std::uint64_t totalBytes = 0;
};

bool layoutWrapper(const HfsVolumeSpec& volumeSpec, HfsVolumeSpec& embedded, WrapperLayout& layout, std::string& error) {
  embedded = volumeSpec;
  const std::uint64_t bytes = hfsVolumeBytes(volumeSpec, error);
  if (bytes == 0) return false;
  layout.blockSize = std::max<std::uint32_t>(volumeSpec.blockSize, 4096);
  while (bytes / layout.blockSize + kWrapperMetadataBlocks + 1 > kMaxWrapperBlocks) layout.blockSize *= 2;
  layout.embeddedBlocks = static_cast<std::uint32_t>((bytes + layout.blockSize - 1) / layout.blockSize);
  embedded.totalBlocks = std::uint64_t{layout.embeddedBlocks} * layout.blockSize / volumeSpec.blockSize;
  layout.blockCount = layout.embeddedBlocks + kWrapperMetadataBlocks;
  const std::uint32_t bitmapSectors = (layout.blockCount + 4095) / 4096;
  const std::uint32_t align = volumeSpec.sectorSize / kWrapperSectorSize;
  layout.firstBlockSector = (kBitmapStartSector + bitmapSectors + align - 1) / align * align;
  layout.embeddedOffset = std::uint64_t{layout.firstBlockSector} * kWrapperSectorSize +
                          std::uint64_t{kWrapperMetadataBlocks} * layout.blockSize;
  // The alternate master directory block sits in the second-to-last sector after the blocks.
  layout.totalBytes = std::uint64_t{layout.firstBlockSector} * kWrapperSectorSize +
                      std::uint64_t{layout.blockCount} * layout.blockSize + 2 * volumeSpec.sectorSize;
  return true;
}

std::array<std::byte, kMasterDirectorySize> masterDirectoryBlock(const HfsVolumeSpec& volumeSpec, const WrapperLayout& layout) {
  std::array<std::byte, kMasterDirectorySize> mdb{};
  const MutableByteSpan b(mdb);
  putBe16(b, 0, hfs::kSignatureHfs);
  putBe32(b, 2, volumeSpec.baseDate);
  putBe32(b, 6, volumeSpec.baseDate);
  putBe16(b, 10, 0x0100);  // cleanly unmounted
  putBe16(b, 14, kBitmapStartSector);
  putBe16(b, 18, static_cast<std::uint16_t>(layout.blockCount));
  putBe32(b, 20, layout.blockSize);
  putBe32(b, 24, layout.blockSize);
  putBe16(b, 28, static_cast<std::uint16_t>(layout.firstBlockSector));
  putBe32(b, 30, hfs::kFirstUserId);
  const std::string name = volumeSpec.volumeName.substr(0, 27);
  put8(b, 36, static_cast<std::uint8_t>(name.size()));
  for (std::size_t i = 0; i < name.size(); ++i) put8(b, 37 + i, static_cast<std::uint8_t>(name[i]));
  putBe16(b, 124, hfs::kSignatureHfsPlus);  // drEmbedSigWord
  putBe16(b, 126, kWrapperMetadataBlocks);  // drEmbedExtent.startBlock
  putBe16(b, 128, static_cast<std::uint16_t>(layout.embeddedBlocks));
  putBe32(b, 130, layout.blockSize);  // extents file: one block
  putBe16(b, 134, 0);
  putBe16(b, 136, 1);
  putBe32(b, 146, layout.blockSize);  // catalog file: one block
  putBe16(b, 150, 1);
  putBe16(b, 152, 1);
  return mdb;
}

}  // namespace

std::uint64_t hfsWrappedVolumeBytes(const HfsVolumeSpec& volumeSpec, std::string& error) {
  HfsVolumeSpec embedded;
  WrapperLayout layout;
  return layoutWrapper(volumeSpec, embedded, layout, error) ? layout.totalBytes : 0;
}

bool buildHfsWrappedVolume(const HfsVolumeSpec& volumeSpec, ImageWriter& out, std::uint64_t byteOffset,
                           ManifestVolume& manifest, std::string& error) {
  HfsVolumeSpec embedded;
  WrapperLayout layout;
  if (!layoutWrapper(volumeSpec, embedded, layout, error)) return false;
  if (byteOffset > out.totalBytes() || layout.totalBytes > out.totalBytes() - byteOffset) {
    error = "wrapper does not fit the image";
    return false;
  }
  const auto mdb = masterDirectoryBlock(volumeSpec, layout);
  out.write(byteOffset + kMasterDirectoryOffset, mdb);
  out.write(byteOffset + layout.totalBytes - kMasterDirectoryOffset, mdb);
  // Every wrapper block is in use: its two metadata files and the embedded volume.
  std::vector<std::byte> bitmap((layout.blockCount + 7) / 8, std::byte{0xFF});
  out.write(byteOffset + std::uint64_t{kBitmapStartSector} * kWrapperSectorSize, bitmap);
  if (!buildHfsVolume(embedded, out, byteOffset + layout.embeddedOffset, manifest, error)) return false;
  manifest.extra["wrapper"] = {{"startSector", byteOffset / volumeSpec.sectorSize},
                               {"blockSize", layout.blockSize},
                               {"firstBlockSector", layout.firstBlockSector},
                               {"embeddedStartBlock", kWrapperMetadataBlocks},
                               {"embeddedBlockCount", layout.embeddedBlocks}};
  return true;
}

}  // namespace nua::imagekit
