#include "wizard_answers.h"

#include <algorithm>
#include <map>

namespace nua::cli {

std::optional<int> targetKindNamed(const std::string& word) {
  static const std::map<std::string, int> kTargets{{"volume", 2}, {"disk", 3}, {"partition", 0}, {"lost", 1}};
  const auto found = kTargets.find(word);
  if (found == kTargets.end()) return std::nullopt;
  return found->second;
}

std::optional<SignatureAnswer> signaturesNamed(const std::string& text) {
  SignatureAnswer answer;
  if (text == "skip") {
    answer.choice = SignatureChoice::kSkip;
    return answer;
  }
  if (text == "all" || text == "next") return answer;
  answer.choice = SignatureChoice::kList;
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t comma = std::min(text.find(',', start), text.size());
    const std::string word = text.substr(start, comma - start);
    if (word.empty() || word.find_first_of(" \t") != std::string::npos) return std::nullopt;
    if (std::find(answer.extensions.begin(), answer.extensions.end(), word) == answer.extensions.end())
      answer.extensions.push_back(word);
    start = comma + 1;
  }
  return answer;
}

bool parseRange(const std::string& text, float& start, float& end) {
  const auto dash = text.find('-');
  if (dash == std::string::npos) return false;
  try {
    std::size_t used = 0;
    start = std::stof(text.substr(0, dash), &used);
    if (used != dash) return false;
    const std::string tail = text.substr(dash + 1);
    end = std::stof(tail, &used);
    if (used != tail.size()) return false;
  } catch (...) {
    return false;
  }
  return start >= 0.0f && start <= 100.0f && end >= 0.0f && end <= 100.0f;
}

bool readChoice(const std::optional<std::string>& text, const char* yes, const char* no, bool& out) {
  if (!text) return true;
  if (*text == yes) {
    out = true;
  } else if (*text == no) {
    out = false;
  } else {
    return false;
  }
  return true;
}

std::string argumentsText(const DictArray& arguments) {
  std::string text;
  for (const DictValue& v : arguments) text += (text.empty() ? "" : ", ") + (v.isString() ? v.toString() : toJson(v));
  return text;
}

}  // namespace nua::cli
