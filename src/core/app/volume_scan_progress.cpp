#include "app/volume_scan_progress.h"

namespace nua {

void applyVolumeScanDictionary(const Dict& update, VolumeScanScreen& screen) {
  if (update.has("Start Animation")) screen.validityBarAnimating = true;
  if (update.has("Stop Animation")) screen.validityBarAnimating = false;
  screen.subTaskLabel = update.has("Progress Status") ? "Time Remaining (Sub Task):" : "";
  screen.subTaskTimeRemaining = update.string("Time Remaining For SubTask");
  if (const DictValue* found = update.find("Volumes Found"); found != nullptr && found->dict() != nullptr)
    screen.volumeScanFoundArray.push_back(*found->dict());
  auto bar = [&update](const char* key, std::int32_t& field) {
    if (const DictValue* v = update.find(key)) field = static_cast<std::int32_t>(v->toInt64());
  };
  if (const DictValue* v = update.find("BarIncrement")) screen.barDoubleValue += static_cast<std::int32_t>(v->toInt64());
  bar("BarMinValue", screen.barMinValue);
  bar("BarMaxValue", screen.barMaxValue);
  bar("BarDoubleValue", screen.barDoubleValue);
  if (const DictValue* v = update.find("TimeRemaining")) screen.timeRemaining = v->toString();
}

}  // namespace nua
