// Writes an HFS+ image with N small files in folders of 1000, for the scan benchmark: the kit's
// hfs-many scenario when it is there, else the kit's volume writer directly.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "imagekit/hfs_writer.h"
#include "imagekit/scenario.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: make-many-hfs FILES OUT.img\n");
    return 2;
  }
  const std::uint64_t files = std::strtoull(argv[1], nullptr, 10);
  const std::string out = argv[2];
  using namespace nua::imagekit;
  std::string error;
  Manifest manifest;
  if (const Scenario* many = findScenario("hfs-many")) {
    ScenarioOptions options;
    options.values["files"] = std::to_string(files);
    if (many->make(out, options, manifest, error)) return 0;
    std::fprintf(stderr, "hfs-many: %s; using the volume writer\n", error.c_str());
  }
  HfsVolumeSpec volumeSpec;
  volumeSpec.volumeName = "Bench";
  volumeSpec.catalogNodeSize = 8192;
  for (std::uint64_t i = 0; i < files; ++i) {
    HfsFileSpec file;
    file.path = "/d" + std::to_string(i / 1000) + "/f" + std::to_string(i) + ".jpg";
    file.patternBytes = 100;
    volumeSpec.files.push_back(std::move(file));
  }
  const std::uint64_t bytes = hfsVolumeBytes(volumeSpec, error);
  if (bytes == 0) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  ImageWriter writer(out, bytes);
  ManifestVolume volume;
  if (!buildHfsVolume(volumeSpec, writer, 0, volume, error) || !writer.ok()) {
    std::fprintf(stderr, "%s\n", error.empty() ? "write failed" : error.c_str());
    return 1;
  }
  return 0;
}
