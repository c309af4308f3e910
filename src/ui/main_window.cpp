#include "main_window.h"

#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenuBar>
#include <QMessageBox>
#include <QProcess>
#include <QScreen>
#include <QStackedWidget>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTimer>
#include <cerrno>

#include "app/drive_discovery.h"
#include "app/scan_run.h"
#include "drive_list_pages.h"
#include "page_kit.h"
#include "progress_page.h"
#include "volume_scan_progress_page.h"
#include "session_sheet.h"
#include "signatures_page.h"
#include "simple_pages.h"
#include "tree/tree_page.h"

namespace nua::ui {

namespace {

constexpr QSize kInitialSize(900, 620);

// The lists from discovery, with the images the user added so far.
MediaSources mediaSources(std::shared_ptr<QStringList> images) {
  MediaSources sources;
  sources.initialDriveList = [images] {
    DiscoveryOptions options;
    for (const QString& image : *images) options.images.push_back(image.toStdString());
    return discoverDrives(options);
  };
  sources.partitionsOfDrive = [](MediaReader& drive) { return partitionsOfDrive(drive); };
  return sources;
}


}  // namespace

MainWindow::MainWindow(const QStringList& images)
    : bridge_(std::make_unique<QtUiBridge>(this)), images_(std::make_shared<QStringList>()) {
  for (const QString& image : images) images_->append(QFileInfo(image).absoluteFilePath());
  setWindowTitle(tr("Nua Recovery Software"));
  setWindowIcon(themeIcon("drive-harddisk", QStyle::SP_DriveHDIcon));
  launcher_ = std::make_unique<ThreadScanLauncher>(*bridge_, nullptr);
  launcher_->setEntry(ScanEntry::kStartMakingTree, startMakingTree);
  launcher_->setEntry(ScanEntry::kScanForDeletedFiles, scanForDeletedFiles);
  launcher_->setEntry(ScanEntry::kScanForDeletedFilesDisk, scanForDeletedFilesDisk);
  controller_ = std::make_unique<WizardController>(*this, *bridge_, *launcher_, mediaSources(images_));
  // "Signatures" reads and edits the goal's data files in the user's data directory.
  controller_->signatureScreen().useStandardDataFiles();
  controller_->mainThread().adoptCurrentThread();

  stack_ = new QStackedWidget(this);
  setCentralWidget(stack_);
  WizardController& c = *controller_;
  progress_ = new ProgressPage(c, widgets_);
  volumeScanPage_ = new VolumeScanProgressPage(c);
  QWidget* tree = nullptr;
  tree_ = new TreePage(c, *bridge_);
  tree_->setObjectName("Tree");
  connect(tree_, &TreePage::backClicked, this, [this] { controller_->treeBackButtonClicked(); });
  connect(tree_, &TreePage::homeClicked, this, [this] { controller_->gotoHome(); });
  connect(tree_, &TreePage::saveSessionClicked, this, &MainWindow::saveRecoverySession);
  tree = tree_;
  DrivesListActions drivesActions{[this] { chooseDiskImage(); }, [this](const DriveRow& row) { return mayOpen(row); }};
  QWidget* screens[] = {makeMainScreen(c),
                        makeModeScreen(c, "Recover Files"),
                        makeModeScreen(c, "Recover Photos"),
                        makeModeScreen(c, "Recover Partitions"),
                        makeDrivesListScreen(c, widgets_, drivesActions),
                        makePTListScreen(c, widgets_),
                        volumeScanPage_,
                        makePTScanListScreen(c, widgets_),
                        makeTreeScanModeScreen(c),
                        new SignaturesPage(c, widgets_),
                        makeRawSliderScreen(c, widgets_),
                        progress_,
                        tree};
  for (QWidget* screen : screens) {
    pages_.insert(screen->objectName(), screen);
    stack_->addWidget(screen);
  }
  controller_->progressChanged = [this] { progress_->refresh(); };
  controller_->volumeScanChanged = [this] { volumeScanPage_->refresh(); };
  sessionSheet_ = new SessionSheet(c, this);
  controller_->sessionScreenChanged = [this] { sessionSheet_->refresh(); };
  // The quit question's "Yes" asks for the file and writes the session; the quit waits for it.
  controller_->saveScanInfoForQuit = [this] { saveRecoverySession(); };
  controller_->scanInfoSavedForQuit = [this] { return controller_->scanInfoSaved(); };
  controller_->bringMainWindowToFront = [this] { bringToFront(); };

  // The scan threads reach the screen only through the controller's queue, served here.
  mainThreadPump_ = new QTimer(this);
  mainThreadPump_->setInterval(25);
  connect(mainThreadPump_, &QTimer::timeout, this, [this] { controller_->mainThread().runPending(); });
  mainThreadPump_->start();

  loadingSheet_ = new QLabel(tr("Loading Drives. Please wait ..."), this);
  loadingSheet_->setAlignment(Qt::AlignCenter);
  loadingSheet_->setAutoFillBackground(true);
  loadingSheet_->setFrameStyle(QFrame::Panel | QFrame::Raised);
  loadingSheet_->hide();

  buildMenus();
  resize(kInitialSize);
  statusBar()->setSizeGripEnabled(false);
}

MainWindow::~MainWindow() {
  if (pairReader_.joinable()) pairReader_.join();
  mainThreadPump_->stop();
  finishScanBeforeExit();
}

void MainWindow::finishScanBeforeExit() {
  if (!controller_->scanIsRunning) return;
  // A scan still runs only when the program ends from outside; stop it and serve its last messages.
  if (controller_->selectedVolume) controller_->selectedVolume->setStopTreeThread(true);
  bridge_->answerAutomatically(0);
  for (int i = 0; i < 600 && controller_->scanIsRunning; ++i) {
    QCoreApplication::processEvents();
    controller_->mainThread().runFor(std::chrono::milliseconds(50));
  }
  launcher_->join();
}

void MainWindow::buildMenus() {
  QMenu* file = menuBar()->addMenu(tr("&File"));
  QAction* addImage = file->addAction(themeIcon("list-add", QStyle::SP_CustomBase), tr("Add Disk Image…"));
  addImage->setShortcut(QKeySequence(tr("Ctrl+I")));
  connect(addImage, &QAction::triggered, this, &MainWindow::chooseDiskImage);
  QAction* open = file->addAction(themeIcon("document-open", QStyle::SP_CustomBase), tr("Open Recovery Session…"));
  open->setShortcut(QKeySequence::Open);
  connect(open, &QAction::triggered, this, &MainWindow::openRecoverySession);
  saveSessionAction_ =
      file->addAction(themeIcon("document-save", QStyle::SP_CustomBase), tr("Save Recovery Session"));
  saveSessionAction_->setShortcut(QKeySequence::Save);
  saveSessionAction_->setEnabled(false);
  connect(saveSessionAction_, &QAction::triggered, this, &MainWindow::saveRecoverySession);
  file->addSeparator();
  QAction* root = file->addAction(themeIcon("security-high", QStyle::SP_CustomBase),
                                  tr("Restart with Administrator Rights"));
  root->setObjectName("restartAsRoot");
  root->setEnabled(::geteuid() != 0);
  connect(root, &QAction::triggered, this, &MainWindow::restartWithAdministratorRights);
  file->addSeparator();
  QAction* quit = file->addAction(themeIcon("application-exit", QStyle::SP_CustomBase), tr("Quit"));
  quit->setShortcut(QKeySequence::Quit);
  connect(quit, &QAction::triggered, this,
          [this] { withTreeSavingState([this] { controller_->terminateApplication(); return true; }); });

  QMenu* help = menuBar()->addMenu(tr("&Help"));
  connect(help->addAction(tr("About Nua Recovery Software")), &QAction::triggered, this, [this] {
    QMessageBox::about(this, tr("About Nua Recovery Software"),
                       tr("Nua Recovery Software %1\nFinds deleted and lost files on HFS+ and FAT volumes and disks. "
                          "Sources are opened read-only.")
                           .arg(QCoreApplication::applicationVersion()));
  });
}

// ---- WizardView ----

void MainWindow::showTab(const std::string& identifier) {
  QWidget* screen = pages_.value(QString::fromStdString(identifier));
  if (screen == nullptr) return;
  stack_->setCurrentWidget(screen);
  const bool tree = identifier == "Tree";
  setMouseTracking(tree);
  // A result can be kept as a session while it is shown, and one that came from a session needs no copy.
  saveSessionAction_->setEnabled(tree && controller_->selectedVolume && !controller_->selectedVolume->openedScanInfo);
  if (progress_->abortSheet() && tree) progress_->abortSheet()->done(QMessageBox::Cancel);
  if (tree) tree_->showResult();
  applySizeRules();
}

std::string MainWindow::selectedTabIdentifier() const { return currentTab().toStdString(); }

QString MainWindow::currentTab() const { return stack_->currentWidget()->objectName(); }

void MainWindow::setEnabled(WizardControl control, bool enabled) {
  if (QWidget* widget = widgets_.controls.value(control)) widget->setEnabled(enabled);
}

void MainWindow::setHidden(WizardControl control, bool hidden) {
  if (QWidget* widget = widgets_.controls.value(control)) widget->setHidden(hidden);
}

void MainWindow::setChecked(WizardControl control, bool checked) {
  if (auto* button = qobject_cast<QAbstractButton*>(widgets_.controls.value(control))) {
    const QSignalBlocker quiet(button);
    button->setChecked(checked);
  }
}

void MainWindow::setText(WizardField field, const std::string& text) {
  if (auto set = widgets_.fields.value(field)) set(QString::fromStdString(text));
}

void MainWindow::setSliders(float start, float end) {
  if (widgets_.sliders) widgets_.sliders(start, end);
}

void MainWindow::reloadTable(WizardTable table) {
  if (auto reload = widgets_.reload.value(table)) reload();
}

void MainWindow::deselect(WizardTable table) {
  if (auto clear = widgets_.deselect.value(table)) clear();
}

void MainWindow::setLoadingSheetVisible(bool visible) {
  if (!visible) {
    loadingSheet_->hide();
    return;
  }
  loadingSheet_->setGeometry(width() / 2 - 170, height() / 2 - 40, 340, 80);
  loadingSheet_->raise();
  loadingSheet_->show();
  loadingSheet_->repaint();  // the list is built on this thread; show the sheet before it starts
}

void MainWindow::restoreInitialWindowFrame() {
  resize(kInitialSize);
  if (const QScreen* screen = this->screen()) move(screen->availableGeometry().center() - rect().center());
}

// ---- The window ----

void MainWindow::showEvent(QShowEvent* event) {
  QMainWindow::showEvent(event);
  if (initialSizeTaken_) return;
  initialSizeTaken_ = true;
  controller_->initialWindowSize = {kInitialSize.width(), kInitialSize.height()};
  applySizeRules();
}

void MainWindow::applySizeRules() {
  if (!initialSizeTaken_) return;
  const auto smallest = controller_->windowWillResize({0, 0});
  const auto largest = controller_->windowWillResize({QWIDGETSIZE_MAX, QWIDGETSIZE_MAX});
  setMinimumSize(smallest.width, smallest.height);
  setMaximumSize(largest.width, largest.height);
}

bool MainWindow::withTreeSavingState(const std::function<bool()>& decision) {
  // The tree screen runs its saving of files itself; while it does, the controller counts it as busy.
  const bool treeSaving = tree_ != nullptr && !tree_->scanInfoOrSavingNotProcessing();
  const bool before = controller_->scanInfoOrSavingNotProcessing;
  if (treeSaving) controller_->scanInfoOrSavingNotProcessing = false;
  const bool result = decision();
  if (treeSaving) controller_->scanInfoOrSavingNotProcessing = before;
  return result;
}

void MainWindow::closeEvent(QCloseEvent* event) {
  if (!withTreeSavingState([this] { return controller_->windowShouldClose(); })) {
    event->ignore();
    return;
  }
  event->accept();
  // Closing the main window is quitting.
  controller_->terminateApp();
}

// ---- Disk images and rights ----

void MainWindow::chooseDiskImage() {
  // Containers are named by their first piece: E01 sets and split raw sets.
  const QString path = QFileDialog::getOpenFileName(
      this, tr("Add Disk Image"), QDir::homePath(),
      tr("Disk images (*.img *.dmg *.iso *.bin *.raw *.dd *.E01 *.e01 *.Ex01 *.001 *.000 *aa);;All files (*)"));
  if (!path.isEmpty()) addDiskImage(path);
}

void MainWindow::addDiskImage(const QString& path) {
  const QString absolute = QFileInfo(path).absoluteFilePath();
  if (!images_->contains(absolute)) images_->append(absolute);
  // The list on screen is built again at once; elsewhere the image joins the next list built.
  if (currentTab() == "Drives List") controller_->refreshDrivesList();
}

void MainWindow::openRecoverySession() {
  if (!controller_->open()) return;
  const QString path = QFileDialog::getOpenFileName(this, tr("Open Recovery Session"), QDir::homePath(),
                                                    tr("Recovery sessions (*.nvs)"));
  if (!path.isEmpty()) controller_->open(path.toStdString());
}

void MainWindow::openScanInfoFile(const QString& path) {
  controller_->openScanInfoFile(QFileInfo(path).absoluteFilePath().toStdString());
}

// ---- Crash recovery ----

void MainWindow::enableCrashRecovery(RecoveryPairLocation* location, SearchGuard* guard) {
  pairLocation_ = location;
  controller_->setRecoveryPairLocation(location);
  controller_->setSearchGuard(guard);
}

void MainWindow::startUp(const QStringList& arguments) {
  std::vector<std::string> words;
  for (const QString& argument : arguments) words.push_back(argument.toStdString());
  RecoveryPairPresence pair;
  if (pairLocation_ != nullptr) {
    const RecoveryPairPaths paths = pairLocation_->paths();
    // A pair a running search holds (a command line's) is nobody's leftover: no question about it.
    if (!recoveryPairInUse(paths)) pair = recoveryPairPresence(paths);
  }
  const StartUpDecision decision = decideStartUp(words, pair);
  switch (decision.action) {
    case StartUpAction::kNothing: break;
    case StartUpAction::kResumeAtOnce: resumeInterruptedSearch(); break;
    case StartUpAction::kOpenSession: openScanInfoFile(QString::fromStdString(decision.sessionPath)); break;
    case StartUpAction::kAskResume: {
      const ResumeAnswer answer = answerResumeQuestion(bridge_->runAlertPanel(kResumeRecoveryQuestion));
      if (answer.removePair) removeRecoveryPair(pairLocation_->paths());
      if (answer.resume) resumeInterruptedSearch();
      break;
    }
  }
}

void MainWindow::resumeInterruptedSearch() {
  if (pairReader_.joinable()) return;  // one reading at a time
  loadingSheet_->setText(tr("Loading the interrupted recovery scan. Please wait ..."));
  setLoadingSheetVisible(true);
  // The sheet holds the window: nothing may start while the pair's volume is not yet installed.
  stack_->setEnabled(false);
  menuBar()->setEnabled(false);
  // A large tree takes a while to read; the window stays alive meanwhile, and only this thread
  // touches what is read until the main thread installs it.
  pairReader_ = std::thread([this] {
    auto read = std::make_shared<WizardController::AutoRecoveryRead>(controller_->readAutoRecovery());
    controller_->mainThread().post([this, read] {
      if (pairReader_.joinable()) pairReader_.join();
      setLoadingSheetVisible(false);
      loadingSheet_->setText(tr("Loading Drives. Please wait ..."));
      stack_->setEnabled(true);
      menuBar()->setEnabled(true);
      const std::string error = controller_->resumeAutoRecovery(std::move(*read));
      if (!error.empty())
        bridge_->runAlertPanel(
            {"Information", "The interrupted recovery scan can not be resumed: " + error + ".", {"OK"}});
    });
  });
}

void MainWindow::bringToFront() {
  if (isMinimized()) showNormal();
  raise();
  activateWindow();
}

void MainWindow::saveRecoverySession() {
  if (!controller_->selectedVolume || controller_->selectedVolume->dirRoot == nullptr) return;
  const QString suggested = QString::fromStdString(WizardController::suggestedScanInfoFileName());
  QString path = QFileDialog::getSaveFileName(this, tr("Save Recovery Session"),
                                              QDir::home().filePath(suggested + ".nvs"), tr("Recovery sessions (*.nvs)"));
  if (path.isEmpty()) return;
  if (!path.endsWith(".nvs")) path += ".nvs";
  controller_->save(path.toStdString());
}

bool MainWindow::mayOpen(const DriveRow& row) {
  const std::string& path = row.path;
  if (path.empty() || ::access(path.c_str(), R_OK) == 0 || errno != EACCES) return true;
  bridge_->runAlertPanel(
      {"! Permission needed",
       "This account may not read " + path +
           ". Disks and partitions can only be read with administrator rights: choose \"Restart with Administrator "
           "Rights\" in the File menu. Disk images need no such rights.",
       {"OK"}});
  return false;
}

void MainWindow::restartWithAdministratorRights() {
  const QString pkexec = QStandardPaths::findExecutable("pkexec");
  if (pkexec.isEmpty()) {
    bridge_->runAlertPanel({"! Can not restart", "pkexec (from polkit) is not installed on this system.", {"OK"}});
    return;
  }
  // Restarting is quitting: the same refusals and the same question about the session.
  if (!withTreeSavingState([this] { return controller_->windowShouldClose(); })) return;
  // pkexec clears the environment; the session's display settings travel as options.
  QStringList arguments{QCoreApplication::applicationFilePath()};
  for (const char* key : {"DISPLAY", "XAUTHORITY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", "QT_QPA_PLATFORM"})
    if (const QByteArray value = qgetenv(key); !value.isEmpty())
      arguments << "--session-env" << QString("%1=%2").arg(key, QString::fromLocal8Bit(value));
  arguments << *images_;
  // This process waits, hidden, for the one with rights: a refused or dismissed password brings it back.
  auto* process = new QProcess(this);
  connect(process, &QProcess::finished, this, [this, process](int code, QProcess::ExitStatus) {
    process->deleteLater();
    if (code != 126 && code != 127) {
      QApplication::quit();
      return;
    }
    show();
    emit takenBackFromAdministratorProgram();
    bridge_->runAlertPanel({"Information", "The program goes on without administrator rights.", {"OK"}});
  });
  connect(process, &QProcess::errorOccurred, this, [this, process](QProcess::ProcessError error) {
    if (error != QProcess::FailedToStart) return;
    process->deleteLater();
    show();
    emit takenBackFromAdministratorProgram();
    bridge_->runAlertPanel({"! Can not restart", "pkexec could not be started.", {"OK"}});
  });
  emit handedOverToAdministratorProgram();
  process->start(pkexec, arguments);
  hide();
}

}  // namespace nua::ui
