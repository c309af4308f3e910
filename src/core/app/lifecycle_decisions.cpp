#include "app/lifecycle_decisions.h"

#include <algorithm>

#include "session/session_file.h"

namespace nua {

StartUpDecision decideStartUp(const std::vector<std::string>& arguments, RecoveryPairPresence pair) {
  if (std::find(arguments.begin(), arguments.end(), kAutoResumeArgument) != arguments.end())
    return {StartUpAction::kResumeAtOnce, {}};
  const std::string suffix = std::string(".") + kScanInfoFileExtension;
  for (const std::string& argument : arguments)
    if (argument.size() > suffix.size() && argument.ends_with(suffix)) return {StartUpAction::kOpenSession, argument};
  if (pair.both()) return {StartUpAction::kAskResume, {}};
  return {};
}

ResumeAnswer answerResumeQuestion(int button) {
  if (button == 0) return {true, false};
  return {false, true};
}

QuitRequest decideQuitRequest(const QuitFacts& facts) {
  if (facts.onTree) {
    if (!facts.scanInfoOrSavingNotProcessing) return {QuitStep::kStay, kProcessRunningAlert};
    if (!facts.hasResult || facts.resultSaved) return {QuitStep::kQuit, std::nullopt};
    return {QuitStep::kAskToSaveSession, kSaveSessionQuestion};
  }
  if (facts.scanIsRunning) return {QuitStep::kStay, kScanRunningAlert};
  return {QuitStep::kQuit, std::nullopt};
}

QuitDecision answerSaveSessionQuestion(int button, bool canSaveSession) {
  if (button == 0) return canSaveSession ? QuitDecision::kAfterSessionSaved : QuitDecision::kStay;
  return button == 1 ? QuitDecision::kGo : QuitDecision::kStay;
}

WindowCloseAnswer windowCloseAnswer(QuitDecision decision, bool onTree) {
  switch (decision) {
    case QuitDecision::kGo: return {true, !onTree, false};
    case QuitDecision::kAfterSessionSaved: return {false, false, true};
    case QuitDecision::kStay: break;
  }
  return {};
}

WindowSize windowSizeAllowed(bool onTree, WindowSize initial, WindowSize proposed) {
  if (!onTree) return initial;
  return {initial.width, std::max(proposed.height, initial.height)};
}

}  // namespace nua
