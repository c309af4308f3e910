// The desktop program's one window: every screen of the wizard in one stack, addressed by its tab
// identifier and driven by the controller. The window draws and forwards; the controller decides.
#pragma once

#include <QMainWindow>
#include <QMap>
#include <QString>
#include <QStringList>
#include <memory>
#include <thread>
#include <vector>

#include "app/wizard_controller.h"
#include "app/thread_scan_launcher.h"
#include "app/wizard_view.h"
#include "qt_ui_bridge.h"
#include "wizard_widgets.h"

class QStackedWidget;
class QTimer;
class QAction;
class QLabel;

namespace nua::ui {

class ProgressPage;
class VolumeScanProgressPage;
class SessionSheet;
class TreePage;

class MainWindow : public QMainWindow, public WizardView {
  Q_OBJECT

 public:
  // `images`: disk images that join the lists from the start.
  explicit MainWindow(const QStringList& images = {});
  ~MainWindow() override;

  // WizardView
  void showTab(const std::string& identifier) override;
  void setEnabled(WizardControl control, bool enabled) override;
  void setHidden(WizardControl control, bool hidden) override;
  void setChecked(WizardControl control, bool checked) override;
  void setText(WizardField field, const std::string& text) override;
  void setSliders(float start, float end) override;
  void reloadTable(WizardTable table) override;
  void deselect(WizardTable table) override;
  void setLoadingSheetVisible(bool visible) override;
  [[nodiscard]] std::string selectedTabIdentifier() const override;
  void restoreInitialWindowFrame() override;

  [[nodiscard]] QString currentTab() const;
  [[nodiscard]] WizardController& controller() { return *controller_; }
  [[nodiscard]] QtUiBridge& uiBridge() { return *bridge_; }
  [[nodiscard]] QWidget* page(const QString& identifier) const { return pages_.value(identifier); }
  [[nodiscard]] QWidget* control(WizardControl control) const { return widgets_.controls.value(control); }
  [[nodiscard]] const QStringList& diskImages() const { return *images_; }
  // Puts an image file into the lists, as "Add Disk Image…" does; the shown list is built again.
  void addDiskImage(const QString& path);
  // A recovery session file ("nvs") launched from outside, as from the command line.
  void openScanInfoFile(const QString& path);

  // Keeps a recovery pair in `location` for each signature search, watched by `guard` (either may
  // be null); the caller keeps both alive as long as the window.
  void enableCrashRecovery(RecoveryPairLocation* location, SearchGuard* guard);
  // What the program does once the window is up, by its arguments and a pair left behind: resume
  // at once ("auto"), open a session file, or ask whether to resume.
  void startUp(const QStringList& arguments);
  // Reads the pair on a worker thread, then replays the wizard and resumes the search.
  void resumeInterruptedSearch();
  void bringToFront();

 signals:
  // The window hides while the program restarted with administrator rights runs, and comes back
  // when that one could not start: requests from other starts belong to the one shown.
  void handedOverToAdministratorProgram();
  void takenBackFromAdministratorProgram();

 public:

 protected:
  void closeEvent(QCloseEvent* event) override;
  void showEvent(QShowEvent* event) override;

 private:
  void buildMenus();
  void chooseDiskImage();
  void openRecoverySession();
  void saveRecoverySession();
  // Quitting and closing take the tree screen's own saving run into account.
  bool withTreeSavingState(const std::function<bool()>& decision);
  void restartWithAdministratorRights();
  [[nodiscard]] bool mayOpen(const DriveRow& row);
  void applySizeRules();
  void finishScanBeforeExit();

  std::unique_ptr<QtUiBridge> bridge_;
  VolumeScanProgressPage* volumeScanPage_ = nullptr;
  std::unique_ptr<ThreadScanLauncher> launcher_;
  std::shared_ptr<QStringList> images_;
  WizardWidgets widgets_;
  std::unique_ptr<WizardController> controller_;
  QStackedWidget* stack_ = nullptr;
  QMap<QString, QWidget*> pages_;
  ProgressPage* progress_ = nullptr;
  TreePage* tree_ = nullptr;
  QLabel* loadingSheet_ = nullptr;
  SessionSheet* sessionSheet_ = nullptr;
  QAction* saveSessionAction_ = nullptr;
  QTimer* mainThreadPump_ = nullptr;
  RecoveryPairLocation* pairLocation_ = nullptr;
  std::thread pairReader_;
  bool initialSizeTaken_ = false;
  bool permissionNoteShown_ = false;
};

}  // namespace nua::ui
