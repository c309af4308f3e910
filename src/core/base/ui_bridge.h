// The one way core code reaches the person at the screen: alerts and the few window actions a
// reader or scan may ask for. The front end implements it; tests record what was asked.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace nua {

struct Alert {
  std::string title;
  std::string text;
  std::vector<std::string> buttons;  // first is the default
  friend bool operator==(const Alert&, const Alert&) = default;
};

class UiBridge {
 public:
  virtual ~UiBridge() = default;
  // Shows the alert and waits for an answer; returns the index of the button pressed (0 for the first).
  // Safe to call from any thread: an implementation hands it to the main thread and waits.
  virtual int runAlertPanel(const Alert& alert) = 0;
  // The device under a scan has gone: end the program.
  virtual void terminateApp() = 0;
  // Closes a preview, if one is open.
  virtual void previewClose() = 0;
};

// A bridge that answers every alert with its first button and does nothing else; for headless runs.
class SilentUiBridge : public UiBridge {
 public:
  int runAlertPanel(const Alert&) override { return 0; }
  void terminateApp() override {}
  void previewClose() override {}
};

// A bridge that keeps every alert asked for and answers with the first button: for headless runs that
// report what would have been shown, and for tests. Alerts may come from any thread.
class RecordingUiBridge : public UiBridge {
 public:
  int runAlertPanel(const Alert& alert) override {
    std::lock_guard lock(mutex_);
    alerts.push_back(alert);
    return 0;
  }
  void terminateApp() override { ++terminated; }
  void previewClose() override { ++previewsClosed; }

  std::vector<Alert> alerts;  // read once the threads that alert have ended
  std::atomic<int> terminated{0};
  std::atomic<int> previewsClosed{0};

 private:
  std::mutex mutex_;
};

}  // namespace nua
