#include "view/preview_plan.h"

#include <cmath>
#include <cstdio>

#include "base/text.h"
#include "view/preview_data.h"

namespace nua {

std::string previewExtensionOfName(std::string_view fileName) {
  const std::size_t dot = fileName.rfind('.');
  return std::string(dot == std::string_view::npos ? fileName : fileName.substr(dot + 1));
}

SupportedFileType supportedFileTypeOf(std::string_view fileName, const MediaProbe& probe) {
  std::string extension = previewExtensionOfName(fileName);
  for (char& c : extension) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  if (probe.isImageFileType(extension)) return SupportedFileType::kImage;
  if (probe.isMovieFileType(extension)) return SupportedFileType::kMovie;
  return SupportedFileType::kNone;
}

bool gathersPreviewData(SupportedFileType type, std::uint64_t fileSize) {
  return type != SupportedFileType::kNone && fileSize < kPreviewSizeLimit;
}

std::string movieLoadedText(std::uint64_t gatheredBytes, std::uint64_t fileSize) {
  // An empty file is wholly loaded; dividing by its size would not be defined.
  const float percent =
      fileSize == 0 ? 100.0F : static_cast<float>(gatheredBytes) / static_cast<float>(fileSize) * 100.0F;
  char text[64];
  std::snprintf(text, sizeof text, "Loaded %.2f %%", static_cast<double>(percent));
  return text;
}

std::string movieDurationText(double seconds) {
  if (!(seconds > 0) || !std::isfinite(seconds)) return {};
  const auto whole = static_cast<std::uint64_t>(seconds);
  char text[64];
  std::snprintf(text, sizeof text, "%llu:%02llu:%02llu:%02llu", static_cast<unsigned long long>(whole / 86400),
                static_cast<unsigned long long>(whole / 3600 % 24), static_cast<unsigned long long>(whole / 60 % 60),
                static_cast<unsigned long long>(whole % 60));
  return formatText("Duration: %@", {text});
}

std::string movieDataReferenceName(std::string_view extension) { return formatText("abc.%@", {std::string(extension)}); }

std::string movieNameText(std::string_view displayName, std::string_view extension) {
  return displayName == movieDataReferenceName(extension) ? std::string() : std::string(displayName);
}

std::vector<LyricsStep> scrollLyricsSchedule(std::string_view text, double durationSeconds, std::uint32_t length) {
  // A length of 0 would make each character last forever: such lyrics are shown without waiting.
  const double perCharacter = length == 0 ? 0.0 : durationSeconds / length;
  auto takeLine = [&text]() {
    const std::size_t newline = text.find('\n');
    std::string_view line = text.substr(0, newline);
    text = newline == std::string_view::npos ? std::string_view() : text.substr(newline + 1);
    return line;
  };
  std::vector<LyricsStep> steps;
  while (!text.empty()) {
    const std::string_view first = takeLine();
    std::string shown(first);
    std::size_t characters = toUtf16(first).size();
    if (!text.empty()) {
      const std::string_view second = takeLine();
      shown += "\n";
      shown += second;
      characters += toUtf16(second).size();
    }
    steps.push_back({std::move(shown), static_cast<double>(characters) * perCharacter});
  }
  return steps;
}

}  // namespace nua
