#include "main_window.h"

#include "app/drive_discovery.h"
#include "app/signature_source.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace nua::ui {

namespace {
const char* const kScreens[] = {"Recover Files", "Recover Photos", "Recover Partitions", "Drives List",
                                "PT list",       "PT scan prog",   "PT scan list",       "Tree scan mode",
                                "Signatures",    "Raw slider",     "Progress",           "Tree"};
}  // namespace

MainWindow::MainWindow() {
  setWindowTitle(tr("Nua Recovery Software"));
  stack_ = new QStackedWidget(this);
  setCentralWidget(stack_);
  QWidget* main = makeMainScreen();
  pages_.insert("Main Screen", main);
  stack_->addWidget(main);
  for (const char* id : kScreens) {
    QWidget* page = makePlaceholder(id);
    pages_.insert(id, page);
    stack_->addWidget(page);
  }
  MediaSources sources = discoveryMediaSources({});
  sources.loadSigData = signatureCatalogSource(*this);
  controller_ = std::make_unique<Kelvo_Recovery_SoftwareAppDelegate>(*this, *this, *this, std::move(sources));
  resize(820, 560);
}

MainWindow::~MainWindow() = default;

QWidget* MainWindow::makeMainScreen() {
  auto* page = new QWidget;
  page->setObjectName("Main Screen");
  auto* layout = new QVBoxLayout(page);
  auto* title = new QLabel(tr("What would you like to recover?"));
  title->setAlignment(Qt::AlignCenter);
  QFont font = title->font();
  font.setPointSizeF(font.pointSizeF() * 1.4);
  title->setFont(font);
  layout->addStretch();
  layout->addWidget(title);
  struct Goal {
    QString text;
    void (Kelvo_Recovery_SoftwareAppDelegate::*action)();
  };
  const Goal goals[] = {{tr("Recover Files"), &Kelvo_Recovery_SoftwareAppDelegate::recoverFiles},
                        {tr("Recover Photos and Media"), &Kelvo_Recovery_SoftwareAppDelegate::recoverPhotos},
                        {tr("Recover Partitions and Drives"),
                         &Kelvo_Recovery_SoftwareAppDelegate::recoverPartitionAndDrives}};
  for (const Goal& goal : goals) {
    auto* button = new QPushButton(goal.text);
    button->setMinimumSize(360, 48);
    connect(button, &QPushButton::clicked, this, [this, action = goal.action] { (controller_.get()->*action)(); });
    layout->addWidget(button, 0, Qt::AlignHCenter);
  }
  layout->addStretch();
  return page;
}

QWidget* MainWindow::makePlaceholder(const QString& identifier) {
  auto* page = new QWidget;
  page->setObjectName(identifier);
  auto* layout = new QVBoxLayout(page);
  auto* label = new QLabel(identifier);
  label->setAlignment(Qt::AlignCenter);
  layout->addWidget(label);
  auto* home = new QPushButton(tr("Home"));
  connect(home, &QPushButton::clicked, this, [this] { showTab("Main Screen"); });
  layout->addWidget(home);
  return page;
}

void MainWindow::showTab(const std::string& identifier) {
  auto it = pages_.find(QString::fromStdString(identifier));
  if (it != pages_.end()) stack_->setCurrentWidget(it.value());
}

QString MainWindow::currentTab() const { return stack_->currentWidget()->objectName(); }

int MainWindow::runAlertPanel(const Alert& alert) {
  QMessageBox box(this);
  box.setWindowTitle(QString::fromStdString(alert.title));
  box.setText(QString::fromStdString(alert.text));
  std::vector<QAbstractButton*> buttons;
  for (const std::string& caption : alert.buttons)
    buttons.push_back(box.addButton(QString::fromStdString(caption), QMessageBox::AcceptRole));
  box.exec();
  for (std::size_t i = 0; i < buttons.size(); ++i)
    if (box.clickedButton() == buttons[i]) return static_cast<int>(i);
  return 0;
}

void MainWindow::terminateApp() { QApplication::quit(); }

}  // namespace nua::ui
