// Olympus ORF: the image data of IFD 0, and the preview JPEG of the maker note.
#pragma once

#include "filecheck/tiff_family_file_check.h"

namespace nua {

class OrfFileCheck final : public TiffFamilyFileCheck {
 public:
  using TiffFamilyFileCheck::TiffFamilyFileCheck;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "orf"; }

 protected:
  [[nodiscard]] bool earlierMemberSelected() const override;
  [[nodiscard]] bool verdictFlag() const override;

 private:
  void findPreviewJpeg(FileWindow& window, const TiffIfd& firstIfd, bool bigEndian, std::uint64_t sector);
};

}  // namespace nua
