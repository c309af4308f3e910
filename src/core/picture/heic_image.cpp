#include "picture/heic_image.h"

#ifdef NUA_HAVE_LIBHEIF
#include <libheif/heif.h>

#include <cstring>
#endif

namespace nua {

#ifdef NUA_HAVE_LIBHEIF

bool heicDecodingAvailable() { return true; }

std::optional<RgbaImage> decodeHeic(std::span<const std::byte> data) {
  heif_context* context = heif_context_alloc();
  if (context == nullptr) return std::nullopt;
  std::optional<RgbaImage> result;
  heif_image_handle* handle = nullptr;
  heif_image* image = nullptr;
  if (heif_context_read_from_memory_without_copy(context, data.data(), data.size(), nullptr).code == heif_error_Ok &&
      heif_context_get_primary_image_handle(context, &handle).code == heif_error_Ok &&
      heif_decode_image(handle, &image, heif_colorspace_RGB, heif_chroma_interleaved_RGBA, nullptr).code ==
          heif_error_Ok) {
    int stride = 0;
    const std::uint8_t* plane = heif_image_get_plane_readonly(image, heif_channel_interleaved, &stride);
    const int width = heif_image_get_width(image, heif_channel_interleaved);
    const int height = heif_image_get_height(image, heif_channel_interleaved);
    if (plane != nullptr && width > 0 && height > 0 && stride >= width * 4) {
      RgbaImage rgba{width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(width) * height * 4)};
      for (int y = 0; y < height; ++y) {
        std::memcpy(rgba.pixels.data() + static_cast<std::size_t>(y) * width * 4,
                    plane + static_cast<std::size_t>(y) * stride, static_cast<std::size_t>(width) * 4);
      }
      result = std::move(rgba);
    }
  }
  if (image != nullptr) heif_image_release(image);
  if (handle != nullptr) heif_image_handle_release(handle);
  heif_context_free(context);
  return result;
}

#else

bool heicDecodingAvailable() { return false; }
std::optional<RgbaImage> decodeHeic(std::span<const std::byte>) { return std::nullopt; }

#endif

}  // namespace nua
