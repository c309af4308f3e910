// The wizard's answers as command-line words, shared by `plan` and `scan` so that both commands take
// the same options: the goal, the kind of target, the file types, the tree scan, the range and whether
// the volume's file system is used.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/scan_request.h"
#include "base/dict.h"

namespace nua::cli {

inline constexpr const char* kSignaturesError = "--signatures takes all, skip or a list of extensions, e.g. jpg,png";
inline constexpr const char* kRangeError = "--range takes START-END in percent, e.g. 10-90";
inline constexpr const char* kTreeScanError = "--tree-scan takes standard or advanced";
inline constexpr const char* kFileSystemError = "--fs-recovery takes yes or no";

// --target's words as the wizard's volumeScanType: volume 2, disk 3, partition 0, lost 1; none for
// any other word.
[[nodiscard]] std::optional<int> targetKindNamed(const std::string& word);

// What "Signatures" is answered with: Skip, Next with every type marked, or Next with the types of
// the listed extensions marked.
struct SignatureAnswer {
  SignatureChoice choice = SignatureChoice::kAll;
  std::vector<std::string> extensions;  // with kList, as typed, in order, without repeats
};

// "skip", "all" (also "next": Next with every type marked) or "EXT,EXT,...". None when a list holds an
// empty word or one with a blank.
[[nodiscard]] std::optional<SignatureAnswer> signaturesNamed(const std::string& text);

// "START-END" in percent, each from 0 to 100 (whether start lies below end is the wizard's or the
// caller's rule). False, with start and end unspecified, for any other text.
[[nodiscard]] bool parseRange(const std::string& text, float& start, float& end);

// A two-word option: `out` becomes true for `yes`, false for `no`, and stays as it is when the option
// is absent. False for any other word.
[[nodiscard]] bool readChoice(const std::optional<std::string>& text, const char* yes, const char* no, bool& out);

// An argument array as `plan` prints it: "Advanced Scan, 1, sigSelArray".
[[nodiscard]] std::string argumentsText(const DictArray& arguments);

}  // namespace nua::cli
