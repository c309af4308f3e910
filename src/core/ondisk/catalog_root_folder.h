// The root folder's record at the front of the first catalog leaf, which names an HFS+ volume
// without walking its catalog.
#pragma once

#include <string>

#include "base/bytes.h"
#include "base/parse_result.h"

namespace nua {

// The name of the root folder, as UTF-8, from the first record of `leafNode`: the node must be a
// leaf of height 1, the record's key must have parent 1, and the record must be a folder (type 1)
// with ID 2. Fails naming the structure and field otherwise, or when the bytes stop short.
[[nodiscard]] Parsed<std::string> parseRootFolderName(ByteSpan leafNode);

}  // namespace nua
