// The "blkx" entries of a UDIF image's XML property list: the block tables, still base64-decoded
// bytes, in the order the list gives them.
#pragma once

#include <span>
#include <string_view>
#include <variant>
#include <vector>

#include "container/udif_trailer.h"

namespace nua {

// Finds the "blkx" array under "resource-fork" and decodes each entry's "Data". A list without
// one, or a "Data" that is not base64, is a problem.
[[nodiscard]] std::variant<std::vector<std::vector<std::byte>>, UdifProblem> parseUdifBlockTableList(
    std::string_view propertyList);

// Decodes base64, skipping white space; nullopt-like empty result and false on a bad character.
[[nodiscard]] bool decodeBase64(std::string_view text, std::vector<std::byte>& out);

}  // namespace nua
