#include "ondisk/hfs_catalog_file.h"

namespace nua {

Parsed<HFSPlusCatalogFile> parseHFSPlusCatalogFile(ByteSpan b) {
  if (b.size() < kCatalogFileSize)
    return Parsed<HFSPlusCatalogFile>::failure(parseReason("catalog file", "record", 0, "cut short before 0xf8"));
  HFSPlusCatalogFile f;
  f.recordType = static_cast<std::int16_t>(be16(b, 0));
  f.flags = be16(b, 2);
  f.fileID = be32(b, 8);
  f.createDate = be32(b, 12);
  f.contentModDate = be32(b, 16);
  f.attributeModDate = be32(b, 20);
  f.accessDate = be32(b, 24);
  f.backupDate = be32(b, 28);
  f.textEncoding = be32(b, 80);
  f.dataFork = readForkData(b, 88);
  f.resourceFork = readForkData(b, 168);
  return Parsed<HFSPlusCatalogFile>::success(f);
}

}  // namespace nua
