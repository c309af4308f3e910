// Kodak K25 (DC25): measured as KDC, without margin.
#pragma once

#include "filecheck/tiff_family_file_check.h"

namespace nua {

class K25FileCheck final : public TiffFamilyFileCheck {
 public:
  using TiffFamilyFileCheck::TiffFamilyFileCheck;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "k25"; }

 protected:
  [[nodiscard]] bool earlierMemberSelected() const override;
  [[nodiscard]] bool verdictFlag() const override;
};

}  // namespace nua
