// The Volume of a session as a keyed object, the partition rows as keyed values, and the copy
// of a Volume that a session keeps. Keys and kinds are listed in docs/session-file.md.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "archive/keyed_value.h"
#include "base/dict.h"
#include "base/parse_result.h"
#include "volume/volume.h"

namespace nua {

// A Volume as a keyed object of class "Volume" with "volumeScanType" first.
[[nodiscard]] KeyedObject encodeVolume(const Volume& volume);
// A Volume read back from a keyed object, with the stored fields and nothing else (no tables, no tree). A missing
// "volumeScanType" or a key holding the wrong kind of value gives a reason instead.
[[nodiscard]] Parsed<std::shared_ptr<Volume>> initVolumeWithCoder(const KeyedValue& value);

// A copy of the stored fields of a Volume, which also carries volumeScanType so that a reopened volume can
// find its drive again.
[[nodiscard]] std::shared_ptr<Volume> mutableCopyOfVolume(const Volume& volume);

// A partition list as a session stores it: an array of objects of class "Dict", one per row, under the
// row's keys.
[[nodiscard]] KeyedValue encodePartitionRows(const std::vector<PartitionRow>& rows);
[[nodiscard]] Parsed<std::vector<PartitionRow>> decodePartitionRows(const KeyedValue& value);

}  // namespace nua
