// nua-siggen: writes the six signature data files from the master table at build time.
// usage: nua-siggen MASTER_TABLE OUTPUT_DIR
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "signature/sig_master_table.h"

namespace {

bool writeFile(const std::filesystem::path& path, const std::vector<std::byte>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: nua-siggen MASTER_TABLE OUTPUT_DIR\n", stderr);
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "nua-siggen: cannot read %s\n", argv[1]);
    return 1;
  }
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const nua::SigMasterTable table = nua::parseSigMasterTable(text);
  if (!table.ok()) {
    std::fprintf(stderr, "%s:%s\n", argv[1], table.reason.c_str());
    return 1;
  }
  std::error_code error;
  std::filesystem::create_directories(argv[2], error);
  for (std::size_t i = 0; i < nua::kSigDataFileNames.size(); ++i) {
    const auto bytes = nua::encodeSigRootArray(nua::buildSigRootArray(table, static_cast<nua::SigDataFile>(i)));
    const std::filesystem::path dir(argv[2]);
    const std::string name = nua::kSigDataFileNames[i];
    // The backup ships identical to the main file; only the user's edits make them differ.
    if (!writeFile(dir / (name + ".dat"), bytes) || !writeFile(dir / (name + "_backup.dat"), bytes)) {
      std::fprintf(stderr, "nua-siggen: cannot write %s in %s\n", name.c_str(), argv[2]);
      return 1;
    }
  }
  return 0;
}
