#include "container/ewf_evidence_set.h"

#include <libewf.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace nua {
namespace {

std::string takeError(libewf_error_t*& error, const char* fallback) {
  std::string text = fallback;
  if (error) {
    std::array<char, 512> message{};
    if (libewf_error_sprint(error, message.data(), message.size()) > 0) text = message.data();
    libewf_error_free(&error);
  }
  return text;
}

std::string headerValue(libewf_handle_t* handle, const char* identifier) {
  std::array<std::uint8_t, 256> value{};
  libewf_error_t* error = nullptr;
  const int found = libewf_handle_get_utf8_header_value(handle, reinterpret_cast<const std::uint8_t*>(identifier),
                                                        std::strlen(identifier), value.data(), value.size(), &error);
  if (error) libewf_error_free(&error);
  return found == 1 ? std::string(reinterpret_cast<const char*>(value.data())) : std::string();
}

}  // namespace

bool hasEwfSignature(const std::string& path) {
  libewf_error_t* error = nullptr;
  const int result = libewf_check_file_signature(path.c_str(), &error);
  if (error) libewf_error_free(&error);
  return result == 1;
}

std::unique_ptr<EwfEvidenceSet> EwfEvidenceSet::open(const std::string& firstPath, int& errorNumber,
                                                     std::string& problem) {
  errorNumber = 0;
  problem.clear();
  libewf_error_t* error = nullptr;
  char** names = nullptr;
  int nameCount = 0;
  if (libewf_glob(firstPath.c_str(), firstPath.size(), LIBEWF_FORMAT_UNKNOWN, &names, &nameCount, &error) != 1) {
    problem = takeError(error, "the segment files cannot be found");
    errorNumber = ENOENT;
    return nullptr;
  }
  auto set = std::unique_ptr<EwfEvidenceSet>(new EwfEvidenceSet());
  libewf_handle_t* handle = nullptr;
  bool opened = libewf_handle_initialize(&handle, &error) == 1;
  if (opened) {
    set->handle_ = handle;
    opened = libewf_handle_open(handle, names, nameCount, LIBEWF_OPEN_READ, &error) == 1;
  }
  libewf_error_t* globError = nullptr;
  libewf_glob_free(names, nameCount, &globError);
  if (globError) libewf_error_free(&globError);
  if (!opened) {
    problem = takeError(error, "the evidence set cannot be opened");
    errorNumber = EIO;
    return nullptr;
  }
  set->segmentCount_ = nameCount;
  // A chunk that fails its checksum must fail the read; zeros would pass for real data.
  if (libewf_handle_set_read_zero_chunk_on_error(handle, 0, &error) != 1) libewf_error_free(&error);
  size64_t mediaSize = 0;
  if (libewf_handle_get_media_size(handle, &mediaSize, &error) != 1) {
    problem = takeError(error, "the media size cannot be read");
    errorNumber = EIO;
    return nullptr;
  }
  set->sizeInBytes_ = mediaSize;
  // libewf opens a set whose segment was cut short and reads the lost chunks as zeros: refuse it.
  if (libewf_handle_segment_files_corrupted(handle, &error) != 0) {
    problem = takeError(error, "a segment file is truncated or damaged");
    errorNumber = EIO;
    return nullptr;
  }
  set->fields_.caseNumber = headerValue(handle, "case_number");
  set->fields_.examinerName = headerValue(handle, "examiner_name");
  set->fields_.acquiryDate = headerValue(handle, "acquiry_date");
  std::array<std::uint8_t, 16> md5{};
  if (libewf_handle_get_md5_hash(handle, md5.data(), md5.size(), &error) == 1) {
    char hex[3];
    for (std::uint8_t b : md5) {
      std::snprintf(hex, sizeof hex, "%02x", b);
      set->fields_.storedMd5 += hex;
    }
  }
  if (error) libewf_error_free(&error);
  return set;
}

EwfEvidenceSet::~EwfEvidenceSet() {
  if (!handle_) return;
  auto* handle = static_cast<libewf_handle_t*>(handle_);
  libewf_handle_close(handle, nullptr);
  libewf_handle_free(&handle, nullptr);
}

ReadOutcome EwfEvidenceSet::readAt(std::uint64_t byteOffset, std::span<std::byte> buffer, int& errorNumber) const {
  errorNumber = 0;
  if (byteOffset >= sizeInBytes_) return buffer.empty() ? ReadOutcome::kComplete : ReadOutcome::kShortAtEnd;
  const std::uint64_t left = sizeInBytes_ - byteOffset;
  const std::size_t wanted = buffer.size() < left ? buffer.size() : static_cast<std::size_t>(left);
  std::size_t done = 0;
  std::lock_guard lock(handleMutex_);
  auto* handle = static_cast<libewf_handle_t*>(handle_);
  const auto checksumErrors = [handle] {
    std::uint32_t count = 0;
    libewf_error_t* error = nullptr;
    if (libewf_handle_get_number_of_checksum_errors(handle, &count, &error) != 1) libewf_error_free(&error);
    return count;
  };
  const std::uint32_t errorsBefore = checksumErrors();
  while (done < wanted) {
    libewf_error_t* error = nullptr;
    const ssize_t got = libewf_handle_read_random(handle, buffer.data() + done,
                                                  wanted - done, static_cast<off64_t>(byteOffset + done), &error);
    if (error) libewf_error_free(&error);
    if (got <= 0) {
      errorNumber = EIO;
      return ReadOutcome::kFailed;
    }
    done += static_cast<std::size_t>(got);
  }
  // A chunk whose checksum failed was read anyway; its bytes cannot be trusted.
  if (checksumErrors() != errorsBefore) {
    errorNumber = EIO;
    return ReadOutcome::kFailed;
  }
  return wanted == buffer.size() ? ReadOutcome::kComplete : ReadOutcome::kShortAtEnd;
}

}  // namespace nua
