// One program per user: a second start hands "open PATH" and "raise" to the first over its channel,
// a channel file left by a program that crashed is taken over, and a peer sending garbage is cut off.
#include "instance_channel.h"

#include <unistd.h>

#include <QLocalSocket>
#include <QSignalSpy>
#include <QTest>
#include <filesystem>
#include <fstream>

namespace nua::ui {

class InstanceChannelTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    folder_ = std::filesystem::temp_directory_path() / ("nua-channel-" + std::to_string(::getpid()));
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    name_ = QString::fromStdString((folder_ / "nua-recovery.socket").string());
  }
  void cleanup() { std::filesystem::remove_all(folder_); }

  void aSecondStartHandsItsRequestsOver() {
    InstanceChannel second(name_);
    QVERIFY(!second.sendToRunning({"raise"}, 200));  // nobody runs yet

    InstanceChannel first(name_);
    QVERIFY(first.listen());
    QSignalSpy opened(&first, &InstanceChannel::openRequested);
    QSignalSpy raised(&first, &InstanceChannel::raiseRequested);
    const QStringList requests = InstanceChannel::requestsFor({"/home/u/My Session.nvs", "/b.nvs"});
    QCOMPARE(requests, (QStringList{"open /home/u/My Session.nvs", "open /b.nvs", "raise"}));
    QVERIFY(second.sendToRunning(requests));
    QTRY_COMPARE(raised.count(), 1);
    QCOMPARE(opened.count(), 2);
    QCOMPARE(opened[0][0].toString(), QString("/home/u/My Session.nvs"));
    QCOMPARE(opened[1][0].toString(), QString("/b.nvs"));

    // Let go (the program waits hidden for its restart with administrator rights): later starts run on
    // their own, until it takes the channel back.
    first.close();
    QVERIFY(!second.sendToRunning({"raise"}, 200));
    QVERIFY(first.listen());
    QVERIFY(second.sendToRunning({"raise"}));
    QTRY_COMPARE(raised.count(), 2);
  }

  void aCrashedProgramsChannelIsTakenOver() {
    std::ofstream(folder_ / "nua-recovery.socket") << "left behind";
    InstanceChannel channel(name_);
    QVERIFY(channel.listen());
    QSignalSpy raised(&channel, &InstanceChannel::raiseRequested);
    QVERIFY(InstanceChannel(name_).sendToRunning({"raise"}));
    QTRY_COMPARE(raised.count(), 1);
  }

  void unknownAndEndlessRequestsAreDropped() {
    InstanceChannel channel(name_);
    QVERIFY(channel.listen());
    QSignalSpy opened(&channel, &InstanceChannel::openRequested);
    QSignalSpy raised(&channel, &InstanceChannel::raiseRequested);
    QLocalSocket peer;
    peer.connectToServer(name_);
    QVERIFY(peer.waitForConnected(2000));
    peer.write("quit\nopen \nraise now\n");
    peer.write(QByteArray(200 * 1024, 'x'));
    peer.flush();
    QTRY_VERIFY_WITH_TIMEOUT(peer.state() == QLocalSocket::UnconnectedState, 5000);
    QCOMPARE(opened.count(), 0);
    QCOMPARE(raised.count(), 0);
  }

 private:
  std::filesystem::path folder_;
  QString name_;
};

}  // namespace nua::ui

QTEST_MAIN(nua::ui::InstanceChannelTest)
#include "instance_channel_test.moc"
