// The desktop program's one window: a stack of screens addressed by tab identifier, driven by the
// controller. This first form offers the start screen; later screens are placeholders.
#pragma once

#include <QMainWindow>
#include <QMap>
#include <QString>
#include <memory>

#include "app/kelvo_recovery_software_app_delegate.h"
#include "app/wizard_view.h"

class QStackedWidget;

namespace nua::ui {

class MainWindow : public QMainWindow, public WizardView, public UiBridge, public ScanLauncher {
 public:
  MainWindow();
  ~MainWindow() override;

  // WizardView
  void showTab(const std::string& identifier) override;
  void setEnabled(WizardControl, bool) override {}
  void setHidden(WizardControl, bool) override {}
  void setChecked(WizardControl, bool) override {}
  void setText(WizardField, const std::string&) override {}
  void setSliders(float, float) override {}
  void reloadTable(WizardTable) override {}
  void deselect(WizardTable) override {}
  void setLoadingSheetVisible(bool) override {}
  // UiBridge
  int runAlertPanel(const Alert& alert) override;
  void terminateApp() override;
  void previewClose() override {}
  // ScanLauncher
  void detach(ScanEntry, std::shared_ptr<Volume>, ScanArguments) override {}
  void detachVolumeScan(std::shared_ptr<DMedia>) override {}

  [[nodiscard]] QString currentTab() const;

 private:
  QWidget* makeMainScreen();
  QWidget* makePlaceholder(const QString& identifier);

  QStackedWidget* stack_ = nullptr;
  QMap<QString, QWidget*> pages_;
  std::unique_ptr<Kelvo_Recovery_SoftwareAppDelegate> controller_;
};

}  // namespace nua::ui
