// `nua-recover types`: lists a goal's signature catalog, and adds or removes custom file types
// through the same catalog operations the "Signatures" screen uses.
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>

#include "base/dict.h"
#include "cli_options.h"
#include "commands.h"
#include "app/signature_source.h"

namespace nua::cli {
namespace {

const char* kTypesUsage =
    "usage: nua-recover types [--mode MODE] [--find TEXT] [--json]\n"
    "       nua-recover types add [--mode MODE] --category C --name NAME --extension EXT --header HEX\n"
    "                             --offset N --size MIB\n"
    "       nua-recover types remove [--mode MODE] --category C --name NAME\n"
    "MODE: files (default), photos, all, or a scan mode 0-5. The user's copies of the data files\n"
    "live in $XDG_DATA_HOME/nua-recovery/.\n";

// Alerts go to the terminal; the first button is the answer.
class TerminalUiBridge : public SilentUiBridge {
 public:
  int runAlertPanel(const Alert& alert) override {
    std::fprintf(stderr, "%s: %s\n", alert.title.c_str(), alert.text.c_str());
    return 0;
  }
};

std::optional<int> scanModeOf(const std::string& word) {
  if (word == "files") return 0;
  if (word == "photos") return 2;
  if (word == "all") return 4;
  if (word.size() == 1 && word[0] >= '0' && word[0] <= '5') return word[0] - '0';
  return std::nullopt;
}

std::string headerHex(const Sig& sig) {
  std::string text;
  char pair[4];
  for (int i = sig.headerLength - 1; i >= 0; --i) {
    std::snprintf(pair, sizeof pair, "%02X", static_cast<unsigned>((sig.header >> (8 * i)) & 0xFF));
    if (!text.empty()) text += ' ';
    text += pair;
  }
  return text;
}

void printRows(const std::vector<std::shared_ptr<SigNode>>& leaves, bool json) {
  if (json) {
    std::cout << "[";
    bool first = true;
    for (const auto& leaf : leaves) {
      const Sig& s = *leaf->sig;
      std::cout << (first ? "\n" : ",\n") << "  {\"category\": " << jsonQuote(s.category)
                << ", \"name\": " << jsonQuote(s.software) << ", \"extension\": " << jsonQuote(s.extension)
                << ", \"offset\": " << s.offset << ", \"header\": " << jsonQuote(headerHex(s))
                << ", \"typeOfFile\": " << s.typeOfFile
                << ", \"sizeMiB\": " << SignatureCatalog::sizeColumnValue(*leaf)
                << ", \"preInstalled\": " << (s.preInstalled ? "true" : "false") << "}";
      first = false;
    }
    std::cout << (first ? "]\n" : "\n]\n");
    return;
  }
  std::printf("%-12s %-34s %-6s %6s  %-24s %8s\n", "CATEGORY", "NAME", "EXT", "OFFSET", "HEADER", "SIZE MiB");
  for (const auto& leaf : leaves) {
    const Sig& s = *leaf->sig;
    std::printf("%-12s %-34s %-6s %6u  %-24s %8llu\n", s.category.c_str(), s.software.c_str(), s.extension.c_str(),
                static_cast<unsigned>(s.offset), headerHex(s).c_str(),
                static_cast<unsigned long long>(SignatureCatalog::sizeColumnValue(*leaf)));
  }
}

}  // namespace

int typesCommand(const std::vector<std::string>& args) {
  const ParsedOptions options = parseOptions(
      args, {"--mode", "--find", "--category", "--name", "--extension", "--header", "--offset", "--size"},
      {"--json", "--help"});
  if (options.flag("--help")) {
    std::fputs(kTypesUsage, stdout);
    return 0;
  }
  const std::string action = options.positional.empty() ? "list" : options.positional.front();
  const auto mode = scanModeOf(options.value("--mode").value_or("files"));
  if (!options.error.empty() || options.positional.size() > 1 || !mode ||
      (action != "list" && action != "add" && action != "remove")) {
    std::fprintf(stderr, "nua-recover types: %s\n%s",
                 options.error.empty() ? "unknown action or mode" : options.error.c_str(), kTypesUsage);
    return 2;
  }
  TerminalUiBridge ui;
  UserSignatureCatalog userCatalog(ui, *mode);
  SignatureCatalog& catalog = userCatalog.catalog();
  if (catalog.sigRootArray.empty()) {
    std::fprintf(stderr, "nua-recover types: %s (%s)\n", catalog.emptySigNode.category.c_str(),
                 catalog.lastLoadReason.c_str());
    return 1;
  }

  if (action == "add") {
    const NewSigFields fields{options.value("--category").value_or(""), options.value("--name").value_or(""),
                              options.value("--extension").value_or(""), options.value("--header").value_or(""),
                              options.value("--offset").value_or(""), options.value("--size").value_or("")};
    if (!catalog.addNewSigOKClicked(fields)) return 1;
    if (catalog.lastSaveFailed) std::fprintf(stderr, "nua-recover types: the data files could not be rewritten\n");
    return catalog.lastSaveFailed ? 1 : 0;
  }
  if (action == "remove") {
    const std::string category = options.value("--category").value_or("");
    const std::string name = options.value("--name").value_or("");
    SigNode* row = nullptr;
    for (const auto& node : catalog.sigRootArray) {
      if (node->category != category) continue;
      if (name.empty()) row = node.get();
      for (const auto& child : node->children.value_or(std::vector<std::shared_ptr<SigNode>>{})) {
        if (!name.empty() && child->sig && child->sig->software == name) row = child.get();
      }
    }
    if (row == nullptr) {
      std::fprintf(stderr, "nua-recover types: no file type \"%s\" under category \"%s\"\n", name.c_str(), category.c_str());
      return 1;
    }
    if (!SignatureCatalog::canRemove(row)) {
      std::fprintf(stderr, "nua-recover types: a pre-installed file type or a category with file types can't be removed\n");
      return 1;
    }
    catalog.removeFileType(row);
    if (catalog.lastSaveFailed) std::fprintf(stderr, "nua-recover types: the data file could not be rewritten\n");
    return catalog.lastSaveFailed ? 1 : 0;
  }

  std::vector<std::shared_ptr<SigNode>> leaves;
  if (auto text = options.value("--find")) {
    catalog.findFileTypes(*text);
    std::fprintf(stderr, "%s\n", catalog.findFTStatusText.c_str());
    leaves = catalog.arrayFTFound;
  } else {
    for (const auto& node : catalog.sigRootArray) {
      for (const auto& child : node->children.value_or(std::vector<std::shared_ptr<SigNode>>{})) {
        if (child->sig) leaves.push_back(child);
      }
    }
  }
  printRows(leaves, options.flag("--json"));
  return 0;
}

}  // namespace nua::cli
