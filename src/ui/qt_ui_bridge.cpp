#include "qt_ui_bridge.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QThread>

namespace nua::ui {

QtUiBridge::QtUiBridge(QWidget* parentWindow) : parentWindow_(parentWindow) {}

int QtUiBridge::runAlertPanel(const Alert& alert) {
  if (QThread::currentThread() == thread()) return ask(alert);
  int answer = 0;
  QMetaObject::invokeMethod(this, [this, &alert, &answer] { answer = ask(alert); }, Qt::BlockingQueuedConnection);
  return answer;
}

int QtUiBridge::ask(const Alert& alert) {
  if (alertShown) alertShown(alert);
  if (automaticAnswer_ >= 0)
    return alert.buttons.empty() ? 0 : std::min(automaticAnswer_, static_cast<int>(alert.buttons.size()) - 1);
  // Titles of errors begin with "!"; they get the warning icon.
  const bool error = !alert.title.empty() && alert.title.front() == '!';
  QMessageBox box(error ? QMessageBox::Warning : QMessageBox::Information, QString::fromStdString(alert.title),
                  QString::fromStdString(alert.text), QMessageBox::NoButton, parentWindow_);
  std::vector<QAbstractButton*> buttons;
  for (const std::string& caption : alert.buttons)
    buttons.push_back(box.addButton(QString::fromStdString(caption), QMessageBox::AcceptRole));
  if (buttons.empty()) buttons.push_back(box.addButton(QMessageBox::Ok));
  box.setDefaultButton(qobject_cast<QPushButton*>(buttons.front()));
  box.exec();
  for (std::size_t i = 0; i < buttons.size(); ++i)
    if (box.clickedButton() == buttons[i]) return static_cast<int>(i);
  return 0;
}

void QtUiBridge::terminateApp() {
  QMetaObject::invokeMethod(qApp, [] { QApplication::quit(); }, Qt::QueuedConnection);
}

void QtUiBridge::previewClose() {}

}  // namespace nua::ui
