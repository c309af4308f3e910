// Deletes entries of a written HFS+ volume the way a file system driver does: each catalog record (and
// its thread, and any extents-overflow record) is removed by moving the following records of its node
// down over it, so the old bytes stay at the node's end; a node left empty is only marked free in the
// tree's map. The blocks are marked free; a live file may then be moved onto a deleted file's blocks.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "imagekit/image_file.h"
#include "imagekit/manifest.h"

namespace nua::imagekit {

struct DriverDeletion {
  std::vector<std::string> paths;  // entries to delete, in order ("/Docs/a.txt")
  // {deleted file, live file}: the live file's data moves onto the deleted file's first blocks.
  std::vector<std::pair<std::string, std::string>> reuses;
};

// Edits the volume and its manifest: deleted entries are marked deleted with foundIn "catalog-slack"
// (their record survives whole in a node's free space), "catalog-free-node" (in a freed node) or
// "overwritten" (moved over by the records after it); a file whose blocks a live file took is reused.
// False with `error` when an entry or record can't be found.
[[nodiscard]] bool deleteLikeDriver(ImageWriter& out, ManifestVolume& volume, const DriverDeletion& deletion,
                                    std::string& error);

}  // namespace nua::imagekit
