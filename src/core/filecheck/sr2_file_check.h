// Sony SR2 (DSC-R1): the raw image of the SubIFD, and the JPEG it names.
#pragma once

#include "filecheck/tiff_family_file_check.h"

namespace nua {

class Sr2FileCheck final : public TiffFamilyFileCheck {
 public:
  using TiffFamilyFileCheck::TiffFamilyFileCheck;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "sr2"; }

 protected:
  [[nodiscard]] bool earlierMemberSelected() const override;
  [[nodiscard]] bool verdictFlag() const override;
};

}  // namespace nua
