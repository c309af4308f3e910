// Nikon NEF: the SubIFDs of IFD 0, with the preview JPEG.
#pragma once

#include "filecheck/tiff_family_file_check.h"

namespace nua {

class NefFileCheck final : public TiffFamilyFileCheck {
 public:
  using TiffFamilyFileCheck::TiffFamilyFileCheck;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "nef"; }

 protected:
  [[nodiscard]] bool earlierMemberSelected() const override;
  [[nodiscard]] bool verdictFlag() const override;
};

}  // namespace nua
