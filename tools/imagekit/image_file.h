// Writes a test image deterministically and sparsely: the file is sized once with ftruncate and only
// the regions handed to write() are stored, so multi-gigabyte images cost only what they contain.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace nua::imagekit {

class ImageWriter {
 public:
  // Creates (truncating) `path` with a final size of `totalBytes`; check ok() afterwards.
  ImageWriter(const std::string& path, std::uint64_t totalBytes);
  // An image kept in memory, for tests; bytes() gives it back.
  [[nodiscard]] static ImageWriter inMemory(std::uint64_t totalBytes);

  ImageWriter(ImageWriter&& other) noexcept;
  ImageWriter& operator=(ImageWriter&& other) noexcept;
  ImageWriter(const ImageWriter&) = delete;
  ImageWriter& operator=(const ImageWriter&) = delete;
  ~ImageWriter();

  // Stores `bytes` at `byteOffset`. A write past the image end or an I/O failure is remembered: it
  // makes ok() false and later writes are ignored, so callers check once at the end.
  void write(std::uint64_t byteOffset, std::span<const std::byte> bytes);
  // Reads back what the image holds (zeros where nothing was written); false past the end or on error.
  [[nodiscard]] bool read(std::uint64_t byteOffset, std::span<std::byte> bytes);
  // Flushes buffered writes and closes the file; returns ok().
  [[nodiscard]] bool finish();

  [[nodiscard]] bool ok() const { return error_.empty(); }
  [[nodiscard]] const std::string& error() const { return error_; }
  [[nodiscard]] std::uint64_t totalBytes() const { return totalBytes_; }
  // The in-memory image; empty for a file-backed writer.
  [[nodiscard]] const std::vector<std::byte>& bytes() const { return memory_; }

 private:
  ImageWriter() = default;
  void flushPending();
  void fail(std::string message);

  int fd_ = -1;
  bool inMemory_ = false;
  std::uint64_t totalBytes_ = 0;
  std::vector<std::byte> memory_;
  // Adjacent small writes are gathered here so a million one-block files cost few system calls.
  std::vector<std::byte> pending_;
  std::uint64_t pendingOffset_ = 0;
  std::string path_;
  std::string error_;
};

}  // namespace nua::imagekit
