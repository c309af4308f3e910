// A stand-in for the desktop decoders: a few image and movie types, and "an image" meaning bytes that
// begin with the JPEG start marker.
#pragma once

#include <string_view>

#include "view/media_probe.h"

namespace nua::testing_view {

class FakeMediaProbe : public MediaProbe {
 public:
  bool isImageFileType(std::string_view extension) const override {
    return extension == "jpg" || extension == "png" || extension == "cr2";
  }
  bool isMovieFileType(std::string_view extension) const override { return extension == "mp3" || extension == "mov"; }
  bool canInitWithData(std::span<const std::byte> data, std::string_view) const override {
    return data.size() >= 2 && data[0] == std::byte{0xFF} && data[1] == std::byte{0xD8};
  }
};

}  // namespace nua::testing_view
