// What a preview asks of the decoders that stand behind it: whether an extension names an image or a
// movie type, and whether given bytes make an image. The desktop program answers with its toolkit's
// decoders (plus camera RAW and HEIC); tests answer with a fake.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace nua {

class MediaProbe {
 public:
  virtual ~MediaProbe() = default;
  // The extension is lower-cased and without its dot. Calls may come from any thread.
  [[nodiscard]] virtual bool isImageFileType(std::string_view extension) const = 0;
  [[nodiscard]] virtual bool isMovieFileType(std::string_view extension) const = 0;
  // Whether an image can be made from these bytes (the name's extension may help decoders that need it).
  [[nodiscard]] virtual bool canInitWithData(std::span<const std::byte> data, std::string_view extension) const = 0;
};

}  // namespace nua
