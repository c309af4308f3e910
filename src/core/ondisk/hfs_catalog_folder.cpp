#include "ondisk/hfs_catalog_folder.h"

namespace nua {

Parsed<HFSPlusCatalogFolder> parseHFSPlusCatalogFolder(ByteSpan b) {
  if (b.size() < kCatalogFolderSize)
    return Parsed<HFSPlusCatalogFolder>::failure(parseReason("catalog folder", "record", 0, "cut short before 0x58"));
  HFSPlusCatalogFolder f;
  f.recordType = static_cast<std::int16_t>(be16(b, 0));
  f.flags = be16(b, 2);
  f.valence = be32(b, 4);
  f.folderID = be32(b, 8);
  f.createDate = be32(b, 12);
  f.contentModDate = be32(b, 16);
  f.attributeModDate = be32(b, 20);
  f.accessDate = be32(b, 24);
  f.backupDate = be32(b, 28);
  return Parsed<HFSPlusCatalogFolder>::success(f);
}

}  // namespace nua
