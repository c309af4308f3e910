// nua-mkimage: lists the image-kit scenarios and writes one image plus its manifest.
#include <cstdio>
#include <string>
#include <vector>

#include "imagekit/manifest.h"
#include "imagekit/scenario.h"
#include "imagekit/udif_writer.h"

namespace {

using nua::imagekit::ScenarioOptions;

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

int usage(const std::string& message) {
  if (!message.empty()) std::fprintf(stderr, "nua-mkimage: %s\n", message.c_str());
  std::fprintf(stderr,
               "usage: nua-mkimage list\n"
               "       nua-mkimage make SCENARIO OUT.img [--manifest OUT.json] [--seed N] [--key value ...]\n"
               "       nua-mkimage udif IN.img OUT.dmg raw|zlib|bzip2|lzfse-marked\n");
  return kExitUsage;
}

int listScenarios() {
  for (const auto& scenario : nua::imagekit::scenarios()) {
    std::printf("%s  %s\n", scenario.name.c_str(), scenario.description.c_str());
  }
  return kExitOk;
}

int makeImage(const std::vector<std::string>& args) {
  if (args.size() < 2) return usage("make needs a scenario and an output path");
  const auto* scenario = nua::imagekit::findScenario(args[0]);
  if (scenario == nullptr) return usage("unknown scenario \"" + args[0] + "\" (see nua-mkimage list)");
  const std::string outPath = args[1];
  std::string manifestPath;
  ScenarioOptions options;
  for (std::size_t i = 2; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg.size() < 3 || arg.rfind("--", 0) != 0) return usage("unexpected argument \"" + arg + "\"");
    const std::string key = arg.substr(2);
    const bool hasValue = i + 1 < args.size() && args[i + 1].rfind("--", 0) != 0;
    const std::string value = hasValue ? args[++i] : "1";
    if (key == "manifest") {
      if (!hasValue) return usage("--manifest needs a path");
      manifestPath = value;
    } else {
      options.values[key] = value;
    }
  }
  std::string error;
  if (!nua::imagekit::optionUint(options, "seed", 1, options.seed, error)) return usage(error);
  options.values.erase("seed");

  nua::imagekit::Manifest manifest;
  manifest.scenario = scenario->name;
  manifest.seed = options.seed;
  if (!scenario->make(outPath, options, manifest, error)) {
    std::fprintf(stderr, "nua-mkimage: %s: %s\n", scenario->name.c_str(), error.c_str());
    return kExitFailed;
  }
  manifest.scenario = scenario->name;
  manifest.seed = options.seed;
  if (!manifestPath.empty() && !nua::imagekit::writeManifestFile(manifestPath, manifest, error)) {
    std::fprintf(stderr, "nua-mkimage: %s\n", error.c_str());
    return kExitFailed;
  }
  return kExitOk;
}

int makeUdif(const std::vector<std::string>& args) {
  if (args.size() != 3) return usage("udif needs an image, an output path and a chunk encoding");
  using nua::imagekit::UdifEncoding;
  UdifEncoding encoding = UdifEncoding::kRaw;
  if (args[2] == "zlib") encoding = UdifEncoding::kZlib;
  else if (args[2] == "bzip2") encoding = UdifEncoding::kBzip2;
  else if (args[2] == "lzfse-marked") encoding = UdifEncoding::kMarkedLzfse;
  else if (args[2] != "raw") return usage("unknown chunk encoding \"" + args[2] + "\"");
  std::string error;
  if (!nua::imagekit::writeUdifImage(args[0], args[1], encoding, error)) {
    std::fprintf(stderr, "nua-mkimage: %s\n", error.c_str());
    return kExitFailed;
  }
  return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) return usage("");
  const std::string command = args.front();
  args.erase(args.begin());
  if (command == "list" && args.empty()) return listScenarios();
  if (command == "make") return makeImage(args);
  if (command == "udif") return makeUdif(args);
  return usage("unknown command \"" + command + "\"");
}
