#include "tree/preview_window.h"

#include <QBuffer>
#include <QCloseEvent>
#include <QFileIconProvider>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPlainTextEdit>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

#ifdef NUA_HAVE_QT_MULTIMEDIA
#include <QAudioOutput>
#include <QMediaDevices>
#include <QMediaFormat>
#include <QMediaMetaData>
#include <QMediaPlayer>
#include <QVideoWidget>
#endif

#include "tree/qt_media_probe.h"
#include "view/id3_tag.h"

namespace nua::ui {

namespace {

// The named images "preview-loading" and "preview-failed".
QImage namedImage(const QString& name) {
  QImage image(160, 120, QImage::Format_ARGB32);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setPen(name == "preview-failed" ? QColor(170, 30, 30) : QColor(90, 90, 90));
  painter.drawRoundedRect(image.rect().adjusted(2, 2, -3, -3), 10, 10);
  painter.drawText(image.rect(), Qt::AlignCenter, name == "preview-failed" ? "Preview failed" : "Loading...");
  return image;
}

QIcon iconFor(bool folder) {
  const QFileIconProvider icons;
  return icons.icon(folder ? QFileIconProvider::Folder : QFileIconProvider::File);
}

}  // namespace

PreviewWindow::PreviewWindow(QWidget* parent) : QWidget(parent, Qt::Tool), probe_(std::make_shared<QtMediaProbe>()) {
  setWindowTitle("Preview");
  previewIcon_ = new QLabel(this);
  previewFileName_ = new QLabel(this);
  tabs_ = new QTabWidget(this);
  previewImage_ = new QLabel(tabs_);
  previewImage_->setAlignment(Qt::AlignCenter);
  previewImage_->setMinimumSize(320, 240);
  previewText_ = new QPlainTextEdit(tabs_);
  previewText_->setReadOnly(true);
  previewText_->setUndoRedoEnabled(false);
  previewText_->setTextInteractionFlags(Qt::NoTextInteraction);
  previewMovie_ = new QWidget(tabs_);
  posterView_ = new QLabel(previewMovie_);
  posterView_->setFixedSize(96, 96);
  posterView_->setScaledContents(true);
  movieName_ = new QLabel(previewMovie_);
  movieArtist_ = new QLabel(previewMovie_);
  movieAlbum_ = new QLabel(previewMovie_);
  movieDuration_ = new QLabel(previewMovie_);
  movieSizeLoaded_ = new QLabel(previewMovie_);
  movieStatus_ = new QLabel(this);
  textFieldLyrics_ = new QLabel(" ", previewMovie_);
  textFieldLyrics_->setAlignment(Qt::AlignCenter);
  auto* details = new QVBoxLayout;
  for (QLabel* label : {movieName_, movieArtist_, movieAlbum_, movieDuration_, movieSizeLoaded_}) details->addWidget(label);
  auto* movieTop = new QHBoxLayout;
  movieTop->addWidget(posterView_);
  movieTop->addLayout(details, 1);
  auto* movieLayout = new QVBoxLayout(previewMovie_);
  movieLayout->addLayout(movieTop);
#ifdef NUA_HAVE_QT_MULTIMEDIA
  video_ = new QVideoWidget(previewMovie_);
  movieLayout->addWidget(video_, 1);
#endif
  movieLayout->addWidget(textFieldLyrics_);
  tabs_->addTab(previewImage_, "Image");
  tabs_->addTab(previewText_, "Text");
  tabs_->addTab(previewMovie_, "Movie");
  tabs_->tabBar()->hide();  // the content picks the tab
  auto* header = new QHBoxLayout;
  header->addWidget(previewIcon_);
  header->addWidget(previewFileName_, 1);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(header);
  layout->addWidget(tabs_, 1);
  layout->addWidget(movieStatus_);
  resize(420, 380);

  connect(&lyricsTimer_, &QTimer::timeout, this, [this] { nextLyricsStep(); });
  lyricsTimer_.setSingleShot(true);

  QPointer<PreviewWindow> self(this);
  worker_ = std::make_unique<nua::PreviewWorker>(
      probe_,
      [self](std::uint64_t generation) {
        QMetaObject::invokeMethod(
            self, [self, generation] {
              if (self && generation == self->generation_) self->gate_.previewStarted();
            },
            Qt::QueuedConnection);
      },
      [self](std::uint64_t generation, nua::PreviewOutcome outcome) {
        QMetaObject::invokeMethod(
            self, [self, generation, outcome = std::move(outcome)]() mutable {
              if (self) self->outcomeArrived(generation, std::move(outcome));
            },
            Qt::QueuedConnection);
      });
}

PreviewWindow::~PreviewWindow() {
  clearMovie();
  worker_.reset();
}

bool PreviewWindow::mediaBackendAvailable() {
#ifdef NUA_HAVE_QT_MULTIMEDIA
  return !QMediaFormat().supportedFileFormats(QMediaFormat::Decode).isEmpty();
#else
  return false;
#endif
}

QString PreviewWindow::currentTabName() const { return tabs_->tabText(tabs_->currentIndex()); }
QString PreviewWindow::previewText() const { return previewText_->toPlainText(); }
QString PreviewWindow::previewFileName() const { return previewFileName_->text(); }
QString PreviewWindow::movieStatus() const { return movieStatus_->text(); }
QString PreviewWindow::movieSizeLoaded() const { return movieSizeLoaded_->text(); }
QString PreviewWindow::textFieldLyrics() const { return textFieldLyrics_->text(); }

void PreviewWindow::setImage(const QImage& image, const QString& name) {
  imageName_ = name;
  shownImage_ = image;
  const QPixmap pixmap = QPixmap::fromImage(image);
  previewImage_->setPixmap(pixmap.isNull() ? QPixmap()
                                           : pixmap.scaled(previewImage_->size(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

void PreviewWindow::showRequest(nua::PreviewRequest request) {
  clearMovie();
  previewText_->clear();
  movieStatus_->clear();
  previewFileName_->setText(QString::fromStdString(request.fileName));
  previewIcon_->setPixmap(iconFor(request.isFolder).pixmap(24, 24));
  tabs_->setCurrentWidget(previewImage_);
  if (request.isFolder) {
    setImage({}, "");
  } else {
    setImage(namedImage("preview-loading"), "preview-loading");
  }
  show();
  raise();
  generation_ = worker_->request(std::move(request));
}

void PreviewWindow::outcomeArrived(std::uint64_t generation, nua::PreviewOutcome outcome) {
  if (generation != generation_) return;  // an older request, cut short by this one
  switch (outcome.show) {
    case nua::PreviewShow::kFolder:
      setImage({}, "");
      break;
    case nua::PreviewShow::kLoading:
      break;  // a read failed: the reader has said so, the loading image stays
    case nua::PreviewShow::kFailed:
      tabs_->setCurrentWidget(previewImage_);
      setImage(namedImage("preview-failed"), "preview-failed");
      break;
    case nua::PreviewShow::kImage:
      tabs_->setCurrentWidget(previewImage_);
      setImage(QtMediaProbe::imageFromData(outcome.data, outcome.extension), "image");
      break;
    case nua::PreviewShow::kText:
      setImage({}, "");
      previewText_->setPlainText(QString::fromStdString(outcome.text));
      tabs_->setCurrentWidget(previewText_);
      break;
    case nua::PreviewShow::kMovie:
      previewMovie(outcome);
      break;
  }
  emit previewShown();
}

void PreviewWindow::clearMovie() {
  lyricsTimer_.stop();
  lyricsSteps_.clear();
  posterShown_ = false;
  posterView_->clear();
  for (QLabel* label : {movieName_, movieArtist_, movieAlbum_, movieDuration_, movieSizeLoaded_}) label->clear();
  textFieldLyrics_->setText(" ");
#ifdef NUA_HAVE_QT_MULTIMEDIA
  if (player_ != nullptr) {
    player_->stop();
    player_->deleteLater();
    player_ = nullptr;
  }
#endif
  if (movieBuffer_ != nullptr) {
    movieBuffer_->deleteLater();
    movieBuffer_ = nullptr;
  }
  movieHold_.clear();
}

void PreviewWindow::previewMovie(const nua::PreviewOutcome& outcome) {
  clearMovie();
  movieSizeLoaded_->setText(QString::fromStdString(nua::movieLoadedText(outcome.data.size(), outcome.fileSize)));
  const std::span<const std::byte> data(outcome.data);
  // The tag's own picture and lyrics need no decoder.
  if (nua::hasId3Marker(data)) {
    const std::span<const std::byte> picture = nua::apicPicture(data);
    const QImage poster = QtMediaProbe::imageFromData(picture, "");
    if (!poster.isNull()) {
      posterView_->setPixmap(QPixmap::fromImage(poster));
      posterShown_ = true;
    }
    if (const std::optional<nua::Id3Lyrics> lyrics = nua::usltLyrics(data)) {
      pendingLyrics_ = lyrics->text;
      pendingLyricsLength_ = lyrics->length;
    }
  }
  if (!mediaBackendAvailable()) {
    movieStatus_->setText("!Error: could not initialize");
    tabs_->setCurrentWidget(previewImage_);
    setImage(namedImage("preview-failed"), "preview-failed");
    return;
  }
#ifdef NUA_HAVE_QT_MULTIMEDIA
  movieHold_.push_back(outcome);
  const std::vector<std::byte>& held = movieHold_.back().data;
  movieBuffer_ = new QBuffer(this);
  movieBuffer_->setData(reinterpret_cast<const char*>(held.data()), static_cast<qsizetype>(held.size()));
  movieBuffer_->open(QIODevice::ReadOnly);
  player_ = new QMediaPlayer(this);
  if (audio_ == nullptr) audio_ = new QAudioOutput(this);
  player_->setAudioOutput(audio_);
  player_->setVideoOutput(video_);
  const std::string extension = outcome.extension;
  connect(player_, &QMediaPlayer::errorOccurred, this, [this](QMediaPlayer::Error error, const QString&) {
    if (error == QMediaPlayer::NoError) return;
    if (player_ != nullptr) player_->stop();
    movieStatus_->setText("!Error: could not initialize");
    tabs_->setCurrentWidget(previewImage_);
    setImage(namedImage("preview-failed"), "preview-failed");
  });
  connect(player_, &QMediaPlayer::metaDataChanged, this, [this, extension] {
    const QMediaMetaData meta = player_->metaData();
    movieName_->setText(QString::fromStdString(
        nua::movieNameText(meta.stringValue(QMediaMetaData::Title).toStdString(), extension)));
    movieArtist_->setText(meta.stringValue(QMediaMetaData::ContributingArtist));
    movieAlbum_->setText(meta.stringValue(QMediaMetaData::AlbumTitle));
    if (!posterShown_) {
      const QImage cover = meta.value(QMediaMetaData::ThumbnailImage).value<QImage>();
      if (!cover.isNull()) {
        posterView_->setPixmap(QPixmap::fromImage(cover));
        posterShown_ = true;
      }
    }
  });
  connect(player_, &QMediaPlayer::durationChanged, this, [this](qint64 milliseconds) {
    const double seconds = static_cast<double>(milliseconds) / 1000.0;
    movieDuration_->setText(QString::fromStdString(nua::movieDurationText(seconds)));
    if (!pendingLyrics_.empty() && seconds > 0) {
      scrollLyrics(pendingLyrics_, seconds, pendingLyricsLength_);
      pendingLyrics_.clear();
    }
  });
  player_->setSourceDevice(movieBuffer_, QUrl(QString::fromStdString(nua::movieDataReferenceName(extension))));
  movieStatus_->setText(" ");
  tabs_->setCurrentWidget(previewMovie_);
  player_->play();
#endif
}

void PreviewWindow::scrollLyrics(const std::string& text, double durationSeconds, std::uint32_t length) {
  lyricsSteps_ = nua::scrollLyricsSchedule(text, durationSeconds, length);
  lyricsStep_ = 0;
  nextLyricsStep();
}

void PreviewWindow::nextLyricsStep() {
  if (lyricsStep_ >= lyricsSteps_.size()) {
    textFieldLyrics_->setText(" ");
    return;
  }
  const nua::LyricsStep& step = lyricsSteps_[lyricsStep_++];
  textFieldLyrics_->setText(QString::fromStdString(step.shown));
  lyricsTimer_.start(static_cast<int>(std::min(step.seconds, 86400.0) * 1000.0));
}

void PreviewWindow::closeEvent(QCloseEvent* event) {
  previewClose();
  QWidget::closeEvent(event);
}

void PreviewWindow::previewClose() {
  worker_->cancel();
  ++generation_;
  setImage({}, "");
  previewText_->clear();
  clearMovie();
  gate_.previewClose();
  hide();
}

}  // namespace nua::ui
