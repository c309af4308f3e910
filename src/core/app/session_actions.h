// Recovery sessions from the wizard: saving the shown result into a session file, and opening one
// again without scanning, with the checks, alerts and screens around them.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app/session_screen.h"

namespace nua {

class Volume;
class WizardController;

class SessionActions {
 public:
  explicit SessionActions(WizardController& controller);
  SessionActions(const SessionActions&) = delete;
  SessionActions& operator=(const SessionActions&) = delete;

  // The suggested file name of a saved session: "Nua recovery session " and the date and time.
  [[nodiscard]] static std::string suggestedScanInfoFileName();
  // After the save panel's OK: writes the shown result to path on a worker.
  void save(const std::string& path);
  // The File menu's Open, before the open panel: false (after an alert) off "Main Screen".
  [[nodiscard]] bool open();
  // After the open panel's OK: the header checks, then the file is read on a worker.
  void open(const std::string& path);
  // A session file launched from outside; ignored unless its extension is "nvs".
  void openScanInfoFile(const std::string& path);
  // Waits for a session write or read to end, serving the main thread meanwhile.
  void joinScanInfoThread();
  // Whether the shown result is kept in a session file (saved, or opened from one).
  [[nodiscard]] bool scanInfoSaved() const;
  [[nodiscard]] const SessionScreen& sessionScreen() const { return sessionScreen_; }

 private:
  class SessionSheetProgress;
  void changeSessionScreen(const std::function<void(SessionScreen&)>& change);
  [[nodiscard]] bool checkScanInfoHeader(const std::string& path);
  void saveScanInfo(const std::string& path);
  void openScanInfo(const std::string& path);
  void refindScanInfoSource(Volume& volume, bool withFirstSectors);

  WizardController& controller_;
  SessionScreen sessionScreen_;
  std::weak_ptr<Volume> scanInfoSavedVolume_;
  ScanInfoThread scanInfoThread_;  // last: it is joined first
};

}  // namespace nua
