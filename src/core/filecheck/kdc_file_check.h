// Kodak KDC: the image data of IFD 0 or of its SubIFD.
#pragma once

#include "filecheck/tiff_family_file_check.h"

namespace nua {

class KdcFileCheck final : public TiffFamilyFileCheck {
 public:
  using TiffFamilyFileCheck::TiffFamilyFileCheck;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "kdc"; }

 protected:
  [[nodiscard]] bool earlierMemberSelected() const override;
  [[nodiscard]] bool verdictFlag() const override;
};

}  // namespace nua
