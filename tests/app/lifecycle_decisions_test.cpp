// Start-up, quit, window-close and window-size decisions over every combination of their facts.
#include <gtest/gtest.h>

#include "app/lifecycle_decisions.h"

namespace nua {
namespace {

TEST(LifecycleDecisionsTest, StartUpOverEveryArgumentAndPairCombination) {
  using Args = std::vector<std::string>;
  const Args argumentSets[] = {{}, {"auto"}, {"/home/ann/result.nvs"}, {"/home/ann/result.nvs", "auto"},
                               {"disk.img"}, {"auto-x", "nvs", ".nvs"}};
  for (const Args& arguments : argumentSets) {
    for (bool recoveryFile : {false, true}) {
      for (bool infoFile : {false, true}) {
        const StartUpDecision decision = decideStartUp(arguments, {recoveryFile, infoFile});
        const bool hasAuto = std::find(arguments.begin(), arguments.end(), "auto") != arguments.end();
        const bool hasSession = !arguments.empty() && arguments.front() == "/home/ann/result.nvs";
        StartUpDecision expected;
        if (hasAuto) expected = {StartUpAction::kResumeAtOnce, {}};
        else if (hasSession) expected = {StartUpAction::kOpenSession, "/home/ann/result.nvs"};
        else if (recoveryFile && infoFile) expected = {StartUpAction::kAskResume, {}};
        EXPECT_EQ(decision, expected) << testing::PrintToString(arguments) << recoveryFile << infoFile;
      }
    }
  }
  EXPECT_EQ(kResumeRecoveryQuestion.buttons, (std::vector<std::string>{"YES", "NO"}));
  EXPECT_EQ(answerResumeQuestion(0), (ResumeAnswer{true, false}));
  EXPECT_EQ(answerResumeQuestion(1), (ResumeAnswer{false, true}));
}

TEST(LifecycleDecisionsTest, QuitRequestOverEveryCombination) {
  for (int bits = 0; bits < 32; ++bits) {
    QuitFacts f;
    f.onTree = (bits & 1) != 0;
    f.scanInfoOrSavingNotProcessing = (bits & 2) != 0;
    f.scanIsRunning = (bits & 4) != 0;
    f.hasResult = (bits & 8) != 0;
    f.resultSaved = (bits & 16) != 0;
    QuitRequest expected{QuitStep::kQuit, std::nullopt};
    if (f.onTree && !f.scanInfoOrSavingNotProcessing) expected = {QuitStep::kStay, kProcessRunningAlert};
    else if (f.onTree && f.hasResult && !f.resultSaved) expected = {QuitStep::kAskToSaveSession, kSaveSessionQuestion};
    else if (!f.onTree && f.scanIsRunning) expected = {QuitStep::kStay, kScanRunningAlert};
    EXPECT_EQ(decideQuitRequest(f), expected) << bits;
  }
  EXPECT_EQ(kScanRunningAlert.title, "Scan running");
  EXPECT_EQ(kProcessRunningAlert.title, "Process Running");
}

TEST(LifecycleDecisionsTest, SaveQuestionAnswersAndWindowClose) {
  struct Case {
    int button;
    bool canSave;
    QuitDecision decision;
  } cases[] = {
      {0, true, QuitDecision::kAfterSessionSaved}, {0, false, QuitDecision::kStay},
      {1, true, QuitDecision::kGo},                {1, false, QuitDecision::kGo},
      {2, true, QuitDecision::kStay},              {2, false, QuitDecision::kStay},
  };
  for (const Case& c : cases) EXPECT_EQ(answerSaveSessionQuestion(c.button, c.canSave), c.decision) << c.button;

  struct Close {
    QuitDecision decision;
    bool onTree;
    WindowCloseAnswer answer;
  } closes[] = {
      {QuitDecision::kGo, false, {true, true, false}},
      {QuitDecision::kGo, true, {true, false, false}},
      {QuitDecision::kAfterSessionSaved, true, {false, false, true}},
      {QuitDecision::kStay, true, {false, false, false}},
      {QuitDecision::kStay, false, {false, false, false}},
  };
  for (const Close& c : closes) EXPECT_EQ(windowCloseAnswer(c.decision, c.onTree), c.answer);
}

TEST(LifecycleDecisionsTest, WindowSizeHoldsOffTreeAndGrowsOnlyInHeightOnTree) {
  const WindowSize initial{900, 600};
  struct Case {
    bool onTree;
    WindowSize proposed;
    WindowSize allowed;
  } cases[] = {
      {false, {1200, 900}, {900, 600}}, {false, {400, 300}, {900, 600}},
      {true, {1200, 900}, {900, 900}},  {true, {400, 300}, {900, 600}},
  };
  for (const Case& c : cases) EXPECT_EQ(windowSizeAllowed(c.onTree, initial, c.proposed), c.allowed);
  EXPECT_TRUE(windowMayZoom(true));
  EXPECT_FALSE(windowMayZoom(false));
}

}  // namespace
}  // namespace nua
