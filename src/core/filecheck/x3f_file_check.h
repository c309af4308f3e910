// Sigma X3F: "FOVb" files end with their section directory "SECd"; Sigma's TIFF form is measured as
// a TIFF. Both are named ".x3f".
#pragma once

#include <string>

#include "filecheck/file_check.h"

namespace nua {

class X3fFileCheck final : public FileCheck {
 public:
  using FileCheck::FileCheck;
  [[nodiscard]] bool isFile(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) override;
  [[nodiscard]] std::string_view parentKey() const override { return "x3f"; }
  [[nodiscard]] std::uint8_t firstByteOfHeader() const override { return 0x46; }
  // The extension the loop gives the folder of this format's finds.
  [[nodiscard]] const std::string& extensionOfFile() const { return extensionOfFile_; }

 private:
  std::string extensionOfFile_ = ".x3f";
};

}  // namespace nua
