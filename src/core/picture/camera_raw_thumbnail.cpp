#include "picture/camera_raw_thumbnail.h"

#include <libraw/libraw.h>

#include <algorithm>
#include <array>
#include <memory>

namespace nua {

bool isCameraRawFileType(std::string_view extension) {
  static constexpr std::array<std::string_view, 16> kTypes = {"cr2", "cr3", "crw", "nef", "nrw", "arw", "srf", "sr2",
                                                              "dng", "orf", "rw2", "pef", "raf", "srw", "x3f", "3fr"};
  return std::find(kTypes.begin(), kTypes.end(), extension) != kTypes.end();
}

std::vector<std::byte> embeddedJpegOfRaw(std::span<const std::byte> data) {
  if (data.empty()) return {};
  // LibRaw keeps large state; on the heap, one per call, so calls from several threads do not meet.
  auto raw = std::make_unique<LibRaw>();
  // open_buffer takes a non-const pointer but only reads.
  if (raw->open_buffer(const_cast<std::byte*>(data.data()), data.size()) != LIBRAW_SUCCESS) return {};
  if (raw->unpack_thumb() != LIBRAW_SUCCESS) return {};
  // The thumbnail as the file holds it: dcraw_make_mem_thumb would put an Exif header of its own before it.
  const libraw_thumbnail_t& thumbnail = raw->imgdata.thumbnail;
  if (thumbnail.tformat != LIBRAW_THUMBNAIL_JPEG || thumbnail.thumb == nullptr) return {};
  const auto* bytes = reinterpret_cast<const std::byte*>(thumbnail.thumb);
  std::vector<std::byte> jpeg(bytes, bytes + thumbnail.tlength);
  return jpeg;
}

}  // namespace nua
