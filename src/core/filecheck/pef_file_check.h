// Pentax PEF: the image data along up to six IFDs, plus the preview JPEG.
#pragma once

#include "filecheck/tiff_family_file_check.h"

namespace nua {

class PefFileCheck final : public TiffFamilyFileCheck {
 public:
  using TiffFamilyFileCheck::TiffFamilyFileCheck;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "pef"; }

 protected:
  [[nodiscard]] bool earlierMemberSelected() const override;
  [[nodiscard]] bool verdictFlag() const override;
};

}  // namespace nua
