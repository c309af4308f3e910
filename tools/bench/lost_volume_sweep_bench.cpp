// The lost-volume search's sweep over a large sparse image, against a plain read of the same image in
// the same chunks: the sweep should run at the speed the page cache delivers the bytes.
// Run: build/release/tools/bench/lost-volume-sweep-bench [GiB, default 64] [folder, default /tmp]
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "lostvolume/lost_volume_scan.h"

namespace {

double seconds(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
  const std::uint64_t gib = argc > 1 ? std::stoull(argv[1]) : 64;
  const std::filesystem::path folder = argc > 2 ? argv[2] : "/tmp";
  const std::filesystem::path image = folder / ("nua-lost-volume-bench-" + std::to_string(::getpid()) + ".img");
  const std::uint64_t bytes = gib << 30;
  {
    const int fd = ::open(image.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
    if (fd < 0 || ::ftruncate(fd, static_cast<off_t>(bytes)) != 0) {
      std::fprintf(stderr, "cannot make the sparse image %s\n", image.c_str());
      return 1;
    }
    ::close(fd);
  }

  // The reference: the same 63-sector reads with nothing done to the bytes, once to fill the page
  // cache and once from it.
  constexpr std::size_t kChunkBytes = 63 * 512;
  std::vector<char> buffer(kChunkBytes);
  auto plainRead = [&] {
    const int fd = ::open(image.c_str(), O_RDONLY);
    const auto begin = std::chrono::steady_clock::now();
    for (std::uint64_t at = 0; at < bytes; at += kChunkBytes)
      if (::pread(fd, buffer.data(), kChunkBytes, static_cast<off_t>(at)) < 0) break;
    ::close(fd);
    return seconds(begin);
  };
  const double cold = plainRead();
  const double plain = plainRead();

  nua::MediaReader media;
  media.initWithDictionary(nua::Dict{{"Path", image.string()}, {"Preferred Block Size", 512}, {"Size", bytes}}, {});
  std::vector<nua::PartitionRow> list;
  std::vector<nua::Dict> rows;
  const auto start = std::chrono::steady_clock::now();
  nua::LostVolumeScan(media, nua::VolumeSearchSink::none()).initializeForVolumeThoroughScan(list, rows);
  const double sweep = seconds(start);
  std::filesystem::remove(image);

  const double size = static_cast<double>(bytes) / (1 << 30);
  std::printf("sparse image: %.0f GiB, %llu chunks of 63 sectors\n", size,
              static_cast<unsigned long long>((bytes + kChunkBytes - 1) / kChunkBytes));
  std::printf("first reads:  %7.2f s  %7.2f GiB/s\n", cold, size / cold);
  std::printf("plain reads:  %7.2f s  %7.2f GiB/s  (page cache)\n", plain, size / plain);
  std::printf("sweep:        %7.2f s  %7.2f GiB/s  (%.2fx the plain reads' time), %zu volumes\n", sweep,
              size / sweep, sweep / plain, rows.size());
  return 0;
}
