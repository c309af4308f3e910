// Signature row copies and the merge of rows that share a header.
#include "signature/sig.h"

namespace nua {

void Sig::addToExtraExts(const Sig& other) { extraExts.push_back(other.mutableCopy()); }

Sig Sig::mutableCopy() const {
  Sig copy;
  copy.preInstalled = preInstalled;
  copy.categoryID = categoryID;
  copy.category = category;
  copy.typeOfFile = typeOfFile;
  copy.software = software;
  copy.extension = extension;
  copy.offset = offset;
  copy.headerLength = headerLength;
  copy.header = header;
  copy.defaultSize = defaultSize;
  copy.userSize = userSize;
  copy.foundSize = foundSize;
  copy.skipSize = skipSize;
  copy.skipFileSize = skipFileSize;
  return copy;
}

}  // namespace nua
