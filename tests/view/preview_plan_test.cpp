// The preview's choices that need no decoder, the gate of requests, and the worker's outcomes.
#include "view/preview_plan.h"

#include <gtest/gtest.h>

#include <cstring>

#include "fake_media_probe.h"
#include "view/preview_gate.h"
#include "view/preview_worker.h"

namespace nua {
namespace {

using testing_view::FakeMediaProbe;

TEST(PreviewPlanTest, TypeByLowerCasedLastExtension) {
  const FakeMediaProbe probe;
  struct Case {
    const char* name;
    SupportedFileType type;
  };
  for (const Case& c : {Case{"a.jpg", SupportedFileType::kImage}, Case{"IMG_1.JPG", SupportedFileType::kImage},
                        Case{"x.tar.mp3", SupportedFileType::kMovie}, Case{"song.mp3.txt", SupportedFileType::kNone},
                        Case{"jpg", SupportedFileType::kImage}, Case{"a.", SupportedFileType::kNone},
                        Case{"README", SupportedFileType::kNone}}) {
    EXPECT_EQ(supportedFileTypeOf(c.name, probe), c.type) << c.name;
  }
  EXPECT_TRUE(gathersPreviewData(SupportedFileType::kImage, 49999999));
  EXPECT_FALSE(gathersPreviewData(SupportedFileType::kImage, 50000000));
  EXPECT_FALSE(gathersPreviewData(SupportedFileType::kNone, 10));
}

TEST(PreviewPlanTest, MovieTexts) {
  EXPECT_EQ(movieLoadedText(1, 3), "Loaded 33.33 %");
  EXPECT_EQ(movieLoadedText(0, 0), "Loaded 100.00 %");
  EXPECT_EQ(movieDurationText(3725.6), "Duration: 0:01:02:05");
  EXPECT_EQ(movieDurationText(0), "");
  EXPECT_EQ(movieNameText("abc.mp3", "mp3"), "");
  EXPECT_EQ(movieNameText("Song", "mp3"), "Song");
}

TEST(LyricsScheduleTest, TwoLinesAtATimeForTheirShareOfTheDuration) {
  const std::vector<LyricsStep> steps = scrollLyricsSchedule("aa\nbbbb\ncc\nd", 18.0, 9);
  ASSERT_EQ(steps.size(), 2U);
  EXPECT_EQ(steps[0].shown, "aa\nbbbb");
  EXPECT_DOUBLE_EQ(steps[0].seconds, 12.0);
  EXPECT_EQ(steps[1].shown, "cc\nd");
  EXPECT_DOUBLE_EQ(steps[1].seconds, 6.0);
  const std::vector<LyricsStep> single = scrollLyricsSchedule("only", 10.0, 0);
  ASSERT_EQ(single.size(), 1U);
  EXPECT_EQ(single[0].shown, "only");
  EXPECT_DOUBLE_EQ(single[0].seconds, 0.0);
  EXPECT_TRUE(scrollLyricsSchedule("", 5, 5).empty());
}

TEST(PreviewGateTest, AThirdRequestIsDroppedAndTheAdviceComesOncePerVolume) {
  RecordingUiBridge ui;
  PreviewGate gate;
  auto volume = std::make_shared<int>(1);
  EXPECT_EQ(gate.preview(false, false, true, volume, false, ui), PreviewRequestAction::kNothing);
  EXPECT_EQ(gate.preview(true, true, false, volume, false, ui), PreviewRequestAction::kNothing);
  // RecordingUiBridge answers with the first button, "Go Back": the attempt stays counted.
  EXPECT_EQ(gate.preview(true, false, false, volume, false, ui), PreviewRequestAction::kGoBack);
  ASSERT_EQ(ui.alerts.size(), 1U);
  EXPECT_EQ(ui.alerts[0], previewWarningAlert());
  EXPECT_EQ(gate.preview(true, false, false, volume, false, ui), PreviewRequestAction::kStart);
  EXPECT_EQ(gate.preview(true, false, true, volume, false, ui), PreviewRequestAction::kDropped);
  EXPECT_EQ(ui.alerts.size(), 1U);
  gate.previewClose();
  auto other = std::make_shared<int>(2);
  EXPECT_EQ(gate.preview(true, true, true, other, false, ui), PreviewRequestAction::kGoBack);
  EXPECT_EQ(gate.preview(true, true, true, other, true, ui), PreviewRequestAction::kStart);
  gate.previewStarted();
  EXPECT_EQ(gate.numPreviewAttempts(), 0);
  gate.previewStarted();
  EXPECT_EQ(gate.numPreviewAttempts(), 1);
}

// A source whose every sector holds the same bytes: a JPEG start, text, or zeros.
PreviewRequest requestFor(std::string name, std::uint64_t size, const std::string& sectorBytes, bool failing = false) {
  PreviewRequest request;
  request.fileName = std::move(name);
  request.entry = {size, 0, 1, {{4, static_cast<std::uint32_t>((size + 511) / 512)}}};
  request.source = {[sectorBytes, failing](std::uint64_t, std::int32_t count, std::span<std::byte> buffer) {
                      for (std::int32_t s = 0; s < count; ++s)
                        std::memcpy(buffer.data() + 512 * s, sectorBytes.data(), std::min<std::size_t>(512, sectorBytes.size()));
                      return !failing;
                    },
                    512, 0};
  return request;
}

TEST(PreviewSmallTest, ChoosesWhatTheWindowShows) {
  const FakeMediaProbe probe;
  std::atomic<bool> abort{false};
  const std::string jpeg = "\xFF\xD8 rest";
  EXPECT_EQ(previewSmall(requestFor("a.JPG", 1000, jpeg), probe, abort).show, PreviewShow::kImage);
  const PreviewOutcome garbage = previewSmall(requestFor("b.jpg", 20, "garbage\x01 bytes"), probe, abort);
  EXPECT_EQ(garbage.show, PreviewShow::kText);
  EXPECT_EQ(garbage.text, "garbage. bytes......");
  EXPECT_EQ(previewSmall(requestFor("c.mp3", 100, "ID3"), probe, abort).show, PreviewShow::kMovie);
  EXPECT_EQ(previewSmall(requestFor("d.doc", 100, "hello"), probe, abort).text.substr(0, 5), "hello");
  EXPECT_EQ(previewSmall(requestFor("e.jpg", 50000000, jpeg), probe, abort).show, PreviewShow::kText);
  EXPECT_EQ(previewSmall(requestFor("f.jpg", 100, jpeg, true), probe, abort).show, PreviewShow::kLoading);
  PreviewRequest folder = requestFor("Pictures", 0, "");
  folder.isFolder = true;
  EXPECT_EQ(previewSmall(folder, probe, abort).show, PreviewShow::kFolder);
  abort = true;
  EXPECT_EQ(previewSmall(requestFor("g.jpg", 100, jpeg), probe, abort).show, PreviewShow::kFailed);
}

TEST(PreviewWorkerTest, DeliversTheNewestRequestWithItsGeneration) {
  std::mutex mutex;
  std::condition_variable delivered;
  std::vector<std::pair<std::uint64_t, PreviewShow>> outcomes;
  PreviewWorker worker(
      std::make_shared<FakeMediaProbe>(), [](std::uint64_t) {},
      [&](std::uint64_t generation, PreviewOutcome outcome) {
        std::lock_guard lock(mutex);
        outcomes.emplace_back(generation, outcome.show);
        delivered.notify_all();
      });
  const std::uint64_t generation = worker.request(requestFor("a.jpg", 100, "\xFF\xD8"));
  std::unique_lock lock(mutex);
  delivered.wait(lock, [&] { return !outcomes.empty(); });
  EXPECT_EQ(outcomes.back(), std::make_pair(generation, PreviewShow::kImage));
}

}  // namespace
}  // namespace nua
