// Plain TIFF (and TIFF-like raw files no member claims): the sum of its tables and strips.
#pragma once

#include "filecheck/tiff_family_file_check.h"

namespace nua {

class TiffFileCheck final : public TiffFamilyFileCheck {
 public:
  using TiffFamilyFileCheck::TiffFamilyFileCheck;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "tiff"; }

 protected:
  [[nodiscard]] bool earlierMemberSelected() const override;
  [[nodiscard]] bool verdictFlag() const override;

 private:
  // Reports the preview JPEG a Canon raw TIFF names in IFD 0 (tags 513/514), measured by its markers.
  void canonTiffJpgFileSize(FileWindow& window, bool bigEndian, std::uint64_t firstIfd, std::uint64_t sector);
};

}  // namespace nua
