#include "instance_channel.h"

#include <unistd.h>

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>

namespace nua::ui {

namespace {

constexpr char kOpenRequest[] = "open ";
constexpr char kRaiseRequest[] = "raise";
// A request is one line; a peer that sends more than this without a line's end is cut off.
constexpr qint64 kMaxRequestBytes = 64 * 1024;

}  // namespace

QString InstanceChannel::defaultName() {
  // Named by the effective user: the program restarted as root keeps the user's runtime folder, and
  // must not hand itself over to the user's program that waits for it.
  const QString file = QString("nua-recovery-%1.socket").arg(::geteuid());
  const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
  if (!runtime.isEmpty() && QDir(runtime).exists()) return QDir(runtime).filePath(file);
  return QDir(QDir::tempPath()).filePath(file);
}

QStringList InstanceChannel::requestsFor(const QStringList& sessionFiles) {
  QStringList requests;
  for (const QString& file : sessionFiles) requests << kOpenRequest + file;
  requests << kRaiseRequest;
  return requests;
}

InstanceChannel::InstanceChannel(QString name, QObject* parent) : QObject(parent), name_(std::move(name)) {}

bool InstanceChannel::sendToRunning(const QStringList& requests, int timeoutMs) {
  QLocalSocket socket;
  socket.connectToServer(name_);
  if (!socket.waitForConnected(timeoutMs)) return false;
  for (const QString& request : requests) socket.write(request.toUtf8() + '\n');
  socket.flush();
  while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten(timeoutMs)) {
  }
  socket.disconnectFromServer();
  if (socket.state() != QLocalSocket::UnconnectedState) socket.waitForDisconnected(timeoutMs);
  return true;
}

void InstanceChannel::close() {
  delete server_;
  server_ = nullptr;
}

bool InstanceChannel::listen() {
  close();
  server_ = new QLocalServer(this);
  server_->setSocketOptions(QLocalServer::UserAccessOption);
  if (!server_->listen(name_)) {
    // Nobody answered on it (sendToRunning came first): the socket file is a crashed program's.
    QLocalServer::removeServer(name_);
    if (!server_->listen(name_)) return false;
  }
  connect(server_, &QLocalServer::newConnection, this, [this] {
    while (QLocalSocket* peer = server_->nextPendingConnection()) {
      connect(peer, &QLocalSocket::disconnected, peer, &QObject::deleteLater);
      connect(peer, &QLocalSocket::readyRead, this, [this, peer] {
        while (peer->canReadLine()) serve(peer->readLine().trimmed());
        if (peer->bytesAvailable() > kMaxRequestBytes) peer->abort();
      });
    }
  });
  return true;
}

void InstanceChannel::serve(const QByteArray& line) {
  const QString request = QString::fromUtf8(line);
  if (request.startsWith(kOpenRequest)) {
    const QString path = request.mid(static_cast<int>(sizeof kOpenRequest) - 1);
    if (!path.isEmpty()) emit openRequested(path);
  } else if (request == kRaiseRequest) {
    emit raiseRequested();
  }
}

}  // namespace nua::ui
