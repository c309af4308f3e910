// One running desktop program per user. The first start listens on a local socket; a later start
// hands its requests over and ends: "open PATH" for a session file it was given (a session
// double-clicked while the program runs) and "raise" to bring the window to the front.
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

class QLocalServer;

namespace nua::ui {

class InstanceChannel : public QObject {
  Q_OBJECT

 public:
  // The effective user's channel, "nua-recovery-UID.socket" in $XDG_RUNTIME_DIR when there is one,
  // else in the temp folder.
  [[nodiscard]] static QString defaultName();
  // The requests a start with these session files makes of a running program.
  [[nodiscard]] static QStringList requestsFor(const QStringList& sessionFiles);

  explicit InstanceChannel(QString name, QObject* parent = nullptr);

  // Gives the requests to the program already running; false when none answers.
  bool sendToRunning(const QStringList& requests, int timeoutMs = 2000);
  // Takes the channel for this program. A socket left by a program that ended is taken over.
  bool listen();
  // Lets the channel go, for another program to take.
  void close();

 signals:
  void openRequested(const QString& path);
  void raiseRequested();

 private:
  void serve(const QByteArray& line);

  QString name_;
  QLocalServer* server_ = nullptr;
};

}  // namespace nua::ui
