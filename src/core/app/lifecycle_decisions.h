// What happens at start-up, on a request to quit or close the main window, and to the window's size,
// as plain functions of the facts, so that every combination can be tested without a window.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/ui_bridge.h"
#include "session/recovery_pair.h"

namespace nua {

// ---- Start-up ----

// The argument a restart after a crash carries: resume the search without asking.
inline constexpr const char* kAutoResumeArgument = "auto";

inline const Alert kResumeRecoveryQuestion{
    "Resume Recovery?", "A previous recovery scan was not completed. Do you wish to resume that same scan?",
    {"YES", "NO"}};

enum class StartUpAction {
  kNothing,       // the first screen as usual
  kResumeAtOnce,  // started with "auto": read the pair and resume, no question
  kOpenSession,   // open the session file given
  kAskResume,     // a whole pair is there: ask kResumeRecoveryQuestion
};

struct StartUpDecision {
  StartUpAction action = StartUpAction::kNothing;
  std::string sessionPath;  // for kOpenSession
  friend bool operator==(const StartUpDecision&, const StartUpDecision&) = default;
};

// From the program's arguments (without its own name) and the pair's files. "auto" wins; then the
// first session file (".nvs") named, which leaves any pair alone and asks nothing; then a pair with
// both files. One file of a pair alone asks nothing and is left where it is.
[[nodiscard]] StartUpDecision decideStartUp(const std::vector<std::string>& arguments, RecoveryPairPresence pair);

struct ResumeAnswer {
  bool resume = false;      // "YES": read the pair and resume, as with "auto"
  bool removePair = false;  // "NO": the pair goes, so the question comes once
  friend bool operator==(const ResumeAnswer&, const ResumeAnswer&) = default;
};
// The button pressed on kResumeRecoveryQuestion (0 "YES", anything else "NO").
[[nodiscard]] ResumeAnswer answerResumeQuestion(int button);

// ---- Quitting and closing the main window ----

inline const Alert kProcessRunningAlert{
    "Process Running",
    "Recovery session saving/opening or data saving is in process. The program can quit if that process is "
    "completed or aborted.",
    {"OK"}};
inline const Alert kScanRunningAlert{
    "Scan running", "A scan is in progress. Please stop that scan first, in order to quit Nua Recovery Software.",
    {"OK"}};
inline const Alert kSaveSessionQuestion{
    "Do you want to save recovery session?",
    "After scanning the physical drive, scan results obtained can be saved so that recovery process could be "
    "carried out in next restart without scanning the drive again. Just open the saved recovery session and "
    "proceed with recovery process.",
    {"Yes", "No", "Cancel"}};

struct QuitFacts {
  bool onTree = false;                        // "Tree" is the screen shown
  bool scanInfoOrSavingNotProcessing = true;  // no session or save job runs
  bool scanIsRunning = false;
  bool hasResult = false;    // a volume with a result tree
  bool resultSaved = false;  // that result is kept in a session file
};

enum class QuitStep { kStay, kQuit, kAskToSaveSession };
struct QuitRequest {
  QuitStep step = QuitStep::kStay;
  std::optional<Alert> alert;  // the refusal to show with kStay, the question with kAskToSaveSession
  friend bool operator==(const QuitRequest&, const QuitRequest&) = default;
};
// The first step of the menu's Quit and of closing the main window.
[[nodiscard]] QuitRequest decideQuitRequest(const QuitFacts& facts);

enum class QuitDecision { kStay, kGo, kAfterSessionSaved };
// The answer to kSaveSessionQuestion: "Yes" quits once the session is saved (or stays when no
// session writer is there, as nothing would ever let the quit go on), "No" quits, "Cancel" stays.
[[nodiscard]] QuitDecision answerSaveSessionQuestion(int button, bool canSaveSession);

struct WindowCloseAnswer {
  bool mayClose = false;
  bool closePreview = false;      // off "Tree", a visible preview closes with the window
  bool watchSessionSave = false;  // quit once the session being saved is written
  friend bool operator==(const WindowCloseAnswer&, const WindowCloseAnswer&) = default;
};
[[nodiscard]] WindowCloseAnswer windowCloseAnswer(QuitDecision decision, bool onTree);

// ---- The window's size ----

struct WindowSize {
  int width = 0;
  int height = 0;
  friend bool operator==(const WindowSize&, const WindowSize&) = default;
};
// Off "Tree" the window keeps its initial size; on "Tree" the width stays and the height may grow,
// never below the initial one.
[[nodiscard]] WindowSize windowSizeAllowed(bool onTree, WindowSize initial, WindowSize proposed);
// Only "Tree" may be zoomed.
[[nodiscard]] inline bool windowMayZoom(bool onTree) { return onTree; }

}  // namespace nua
