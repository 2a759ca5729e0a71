#pragma once

// Test support for the link: an IOS stand-in listening on the loopback interface, a message
// sink and event handlers that record what they are given.

#include "ioslink/IosConnection.h"
#include "ioslink/IosErrors.h"
#include "util/IRaiseMsg.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest/QTest>

#include <chrono>
#include <functional>
#include <ostream>
#include <utility>
#include <vector>

// Readable failure output for Qt strings.
inline void PrintTo(const QString& s, std::ostream* os) { *os << '"' << s.toStdString() << '"'; }

namespace telmon::testing {

struct RecordingSink final : IRaiseMsg {
  std::vector<std::pair<std::int32_t, QString>> messages;
  void RaiseMsg(std::int32_t msgType, const QString& text) override {
    messages.emplace_back(msgType, text);
  }
  QStringList Texts() const {
    QStringList out;
    for (const auto& m : messages) out << m.second;
    return out;
  }
  int Count(const QString& prefix) const {
    int n = 0;
    for (const auto& m : messages) n += m.second.startsWith(prefix) ? 1 : 0;
    return n;
  }
};

// Records each call as "<kind>:<identifying attribute>".
struct RecordingHandlers final : IIosEventHandlers {
  QStringList calls;
  QString throwOnId;                           // a DeviceUpdate with this DeviceID throws
  std::chrono::microseconds busyPerDevice{0};  // work a DeviceUpdate takes, in wall time
  std::function<void()> onDevice;              // runs after each DeviceUpdate is recorded

  void OnDeviceUpdate(xml::XmlElement e) override {
    const auto until = std::chrono::steady_clock::now() + busyPerDevice;
    while (std::chrono::steady_clock::now() < until) {
    }
    const QString id = xml::GetAttributeText(e, "DeviceID");
    if (!throwOnId.isEmpty() && id == throwOnId) {
      throw HandlerError(91, QStringLiteral("Object variable not set"));
    }
    calls << QStringLiteral("Device:") + id;
    if (onDevice) {
      onDevice();
    }
  }
  void OnQueueUpdate(xml::XmlElement e) override {
    calls << QStringLiteral("Queue:") + xml::GetAttributeText(e, "QName");
  }
  void OnBlockUpdate(xml::XmlElement e) override {
    calls << QStringLiteral("Block:") + xml::GetAttributeText(e, "BlockID");
  }
  void OnChannelConfigFullUpdate() override { calls << QStringLiteral("ChannelFull"); }
  void OnChannelConfigUpdate(xml::XmlElement e) override {
    calls << QStringLiteral("Channel:") + xml::GetAttributeText(e, "ID");
  }
  void OnChannelConfigBurstEnd() override { calls << QStringLiteral("BurstEnd"); }
  void OnIOSSettingsUpdate(xml::XmlElement e) override {
    calls << QStringLiteral("Settings:") + xml::GetAttributeText(e, "LogLevel");
  }
  void OnMessageEvent(std::int32_t msgType, const QString& text) override {
    calls << QStringLiteral("Msg:%1:%2").arg(msgType).arg(text);
  }
};

// The IOS stand-in: accepts one monitor and records every byte it sends.
class FakeIos {
 public:
  FakeIos() {
    server_.listen(QHostAddress::LocalHost, 0);
    port_ = server_.serverPort();
  }
  // Stays the same after StopListening, so a connect is refused there.
  quint16 Port() const { return port_; }
  void StopListening() { server_.close(); }

  bool WaitForMonitor() {
    if (!QTest::qWaitFor([&] { return server_.hasPendingConnections(); }, 5000)) {
      return false;
    }
    peer_ = server_.nextPendingConnection();
    return peer_ != nullptr;
  }
  QTcpSocket* Peer() { return peer_; }
  // Everything the monitor has sent so far.
  QByteArray Received() {
    if (peer_ != nullptr) {
      received_ += peer_->readAll();
    }
    return received_;
  }
  bool WaitForReceived(qsizetype size) {
    return QTest::qWaitFor([&] { return Received().size() >= size; }, 5000);
  }
  void Send(const QByteArray& bytes) {
    peer_->write(bytes);
    peer_->flush();
  }

 private:
  QTcpServer server_;
  quint16 port_ = 0;
  QTcpSocket* peer_ = nullptr;  // owned by server_
  QByteArray received_;
};

}  // namespace telmon::testing
