// The preview window: follows the selection of the tree screen and shows the entry as an image, a
// movie or sound with its details and lyrics, or its first block as text. The reading and every
// choice run in the core's preview worker; this window only shows what comes back.
#pragma once

#include <QImage>
#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <memory>
#include <vector>

#include "view/preview_gate.h"
#include "view/preview_plan.h"
#include "view/preview_worker.h"

class QLabel;
class QPlainTextEdit;
class QTabWidget;
class QBuffer;
class QMediaPlayer;
class QAudioOutput;
class QVideoWidget;

namespace nua::ui {

class QtMediaProbe;

class PreviewWindow : public QWidget {
  Q_OBJECT

 public:
  explicit PreviewWindow(QWidget* parent = nullptr);
  ~PreviewWindow() override;

  // Shows a request the gate let through: the loading image at once, the outcome when it comes.
  void showRequest(nua::PreviewRequest request);
  // Empties and closes the window; the gate's count goes back to 0.
  void previewClose();

  [[nodiscard]] nua::PreviewGate& gate() { return gate_; }
  // Whether a media backend plays sound and movies here (none on headless machines).
  [[nodiscard]] static bool mediaBackendAvailable();

  // What is on screen, for tests and tooltips.
  [[nodiscard]] QTabWidget* previewTabs() const { return tabs_; }
  [[nodiscard]] QString currentTabName() const;
  // "preview-loading", "preview-failed", "image" (decoded data) or "" (empty).
  [[nodiscard]] QString imageName() const { return imageName_; }
  [[nodiscard]] QImage shownImage() const { return shownImage_; }
  [[nodiscard]] QString previewText() const;
  [[nodiscard]] QString previewFileName() const;
  [[nodiscard]] QString movieStatus() const;
  [[nodiscard]] QString movieSizeLoaded() const;
  [[nodiscard]] QString textFieldLyrics() const;
  [[nodiscard]] bool posterShown() const { return posterShown_; }
  [[nodiscard]] bool loading() const { return imageName_ == "preview-loading"; }

 protected:
  // Closing the window by its title bar is closing the preview.
  void closeEvent(QCloseEvent* event) override;

 signals:
  // An outcome is on screen (or a movie has gone to the player).
  void previewShown();

 private:
  void outcomeArrived(std::uint64_t generation, nua::PreviewOutcome outcome);
  void setImage(const QImage& image, const QString& name);
  void previewMovie(const nua::PreviewOutcome& outcome);
  void clearMovie();
  void scrollLyrics(const std::string& text, double durationSeconds, std::uint32_t length);
  void nextLyricsStep();

  nua::PreviewGate gate_;
  std::shared_ptr<QtMediaProbe> probe_;
  std::unique_ptr<nua::PreviewWorker> worker_;
  std::uint64_t generation_ = 0;

  QLabel* previewIcon_ = nullptr;
  QLabel* previewFileName_ = nullptr;
  QTabWidget* tabs_ = nullptr;
  QLabel* previewImage_ = nullptr;
  QPlainTextEdit* previewText_ = nullptr;
  QWidget* previewMovie_ = nullptr;
  QLabel* posterView_ = nullptr;
  QLabel* movieName_ = nullptr;
  QLabel* movieArtist_ = nullptr;
  QLabel* movieAlbum_ = nullptr;
  QLabel* movieDuration_ = nullptr;
  QLabel* movieSizeLoaded_ = nullptr;
  QLabel* movieStatus_ = nullptr;
  QLabel* textFieldLyrics_ = nullptr;
  QString imageName_;
  QImage shownImage_;
  bool posterShown_ = false;

  std::vector<nua::PreviewOutcome> movieHold_;  // the bytes the player reads from
  QBuffer* movieBuffer_ = nullptr;
  QMediaPlayer* player_ = nullptr;
  QAudioOutput* audio_ = nullptr;
  QVideoWidget* video_ = nullptr;
  std::string pendingLyrics_;
  std::uint32_t pendingLyricsLength_ = 0;
  std::vector<nua::LyricsStep> lyricsSteps_;
  std::size_t lyricsStep_ = 0;
  QTimer lyricsTimer_;
};

}  // namespace nua::ui
