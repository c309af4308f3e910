#include "app/scan_progress.h"

#include "base/text.h"

namespace nua {
namespace {

std::string numberText(const DictValue& value) {
  if (value.isString()) return value.toString();
  if (std::holds_alternative<double>(value.value)) {
    std::string text = std::to_string(value.toDouble());
    text.erase(text.find_last_not_of('0') + 1);
    if (!text.empty() && text.back() == '.') text.pop_back();
    return text;
  }
  if (std::holds_alternative<std::int64_t>(value.value)) return std::to_string(value.toInt64());
  return std::to_string(value.toUInt64());
}

}  // namespace

void applyProgressDictionary(const Dict& update, const std::string& mainScanStatus, ProgressScreen& screen) {
  screen.timeRemaining = update.string("TimeRemaining");
  if (const DictValue* percent = update.find("Percent Done")) {
    screen.percentDone = formatText("Overall Progress: %@%@", {numberText(*percent), "%"});
  } else {
    screen.percentDone.clear();
  }
  if (update.has("Size Done") && update.has("Total Size")) {
    screen.completed =
        formatText("Completed: %@ / %@", {sizeText(update.uint64("Size Done")), sizeText(update.uint64("Total Size"))});
  } else {
    screen.completed = " ";
  }
  if (update.has("Progress Type")) screen.barIndeterminate = update.int64("Progress Type") == 0;
  if (update.has("Start Animation")) screen.barAnimating = true;
  if (update.has("Stop Animation")) screen.barAnimating = false;
  if (update.has("Progress Status")) {
    const std::string status = update.string("Progress Status");
    screen.status = status == "default" ? mainScanStatus : formatText("%@ - %@", {mainScanStatus, status});
  }
  if (const DictValue* v = update.find("Entries Found")) screen.entriesFound = numberText(*v);
  if (const DictValue* v = update.find("Folders")) screen.folders = numberText(*v);
  if (const DictValue* v = update.find("Files")) screen.files = numberText(*v);
  if (update.has("Data")) screen.data = sizeText(update.uint64("Data"));
  if (update.has("BarIncrement")) screen.barDoubleValue += static_cast<double>(update.uint64("BarIncrement"));
  if (update.has("BarMinValue")) screen.barMinValue = static_cast<double>(update.uint64("BarMinValue"));
  if (update.has("BarMaxValue")) screen.barMaxValue = static_cast<double>(update.uint64("BarMaxValue"));
  if (update.has("BarDoubleValue")) screen.barDoubleValue = static_cast<double>(update.uint64("BarDoubleValue"));
}

}  // namespace nua
