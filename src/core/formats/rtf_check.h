// The parts of the RTF check that read the text: the pictures an RTFD's text names ("NeXTGraphic"
// groups), and the picture types an RTFD may carry.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "formats/format_context.h"

namespace nua::formats {

// True for the picture extensions the attachment search can match.
[[nodiscard]] bool isSupportedRtfGraphic(std::string_view extension);

// The pictures the text names, after dropping unsupported types and the duplicates the search removes.
// Empty when the text names none.
[[nodiscard]] std::vector<RtfGraphic> rtfGraphicsInText(std::string_view text);

}  // namespace nua::formats
