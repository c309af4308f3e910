// Structurally faithful camera RAW files for the tests, one builder per format, each with what the
// file check must find: its size by the format's rule and the embedded JPEG's place.
#pragma once

#include <string>

#include "tiff_builder.h"

namespace nua::testing_support {

struct BuiltRaw {
  Bytes file;
  std::string extension;      // for exiftool, which also looks at the name
  std::string exifFileType;   // what exiftool calls it
  std::string parentKey;      // which check must claim it
  std::uint64_t expectedSize = 0;
  std::uint64_t jpegOffset = 0;  // 0 and 0: no embedded JPEG report expected
  std::uint64_t jpegSize = 0;
};

BuiltRaw buildNef();
BuiltRaw buildCr2();
BuiltRaw buildArwA700();
BuiltRaw buildArwA100();
BuiltRaw buildSr2();
BuiltRaw buildKdc();
BuiltRaw buildK25();
BuiltRaw buildDcr();
BuiltRaw buildPef();
BuiltRaw buildDng(const std::string& make);
BuiltRaw buildOrf(const std::string& magic);
BuiltRaw buildPanasonicRaw(const std::string& make);
BuiltRaw buildThreefr();
BuiltRaw buildRaf();
BuiltRaw buildMrw();
BuiltRaw buildX3f();
BuiltRaw buildCrw();
BuiltRaw buildCanonRawTiff();

}  // namespace nua::testing_support
