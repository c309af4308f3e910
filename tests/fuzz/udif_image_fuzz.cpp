// A UDIF image's trailer, property list and block tables, first parsed on their own and then opened
// and read whole as an image, so that chunk mapping and inflation meet hostile tables too.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "container/udif_block_table.h"
#include "container/udif_image.h"
#include "container/udif_resource_list.h"
#include "container/udif_trailer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::byte> bytes(reinterpret_cast<const std::byte*>(data), size);
  (void)nua::parseUdifTrailer(bytes);
  (void)nua::parseUdifBlockTable(bytes, 0);
  (void)nua::parseUdifBlockTableList(std::string_view(reinterpret_cast<const char*>(data), size));

  const int fd = memfd_create("udif", 0);
  if (fd < 0) return 0;
  if (write(fd, data, size) == static_cast<ssize_t>(size)) {
    int errorNumber = 0;
    std::string problem;
    auto file = nua::RawFile::open("/proc/self/fd/" + std::to_string(fd), errorNumber);
    if (file) {
      auto image = nua::UdifImage::open(std::move(file), errorNumber, problem);
      if (image) {
        std::vector<std::byte> buffer(64 * 1024);
        // Bounded: at most 64 reads, whatever size the tables claim.
        const std::uint64_t step = image->sizeInBytes() / 64 + 1;
        for (std::uint64_t at = 0; at < image->sizeInBytes(); at += step) (void)image->readAt(at, buffer, errorNumber);
      }
    }
  }
  close(fd);
  return 0;
}
