#pragma once

// The one TCP connection to the I/O server (IOS) on the local computer: connecting and
// disconnecting, sending commands, and turning what arrives into events for the handlers.
// Everything runs on the user-interface thread; every operation and socket notification
// catches its own failures and reports them once through the message sink.
//
// A large arrival (the whole configuration after a connect) is handed to the handlers a slice
// at a time, with the event loop running in between, so the window's timers and input are never
// held up for long. Events keep their order: while some wait, later bytes wait in the socket,
// whose own buffer is bounded so that a peer sending faster than the pages take it is held back
// by TCP instead of filling memory. Whatever arrived is handled before a change of the link's
// state is acted on.

#include "ioslink/ICommandSender.h"
#include "ioslink/IosEventDispatch.h"
#include "ioslink/IosEventHandlers.h"
#include "ioslink/IosReceiveBuffer.h"
#include "util/IRaiseMsg.h"

#include <QAbstractSocket>
#include <QObject>
#include <QString>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>

class QTcpSocket;
class QTimer;

namespace telmon {

struct IosLinkSettings {
  // The selected DAHS number; DAHS n listens on the site's base port + n - 1.
  std::int32_t dahsId = 1;
  // Value of a key in the site's lookup table, or the given default (the database interface's
  // LookupValue). May throw; the port lookup then falls back to the base port.
  std::function<QString(const QString& key, const QString& defaultValue)> lookupValue;
  // Name of the computer the IOS runs on; the local computer's name when not set.
  std::function<QString()> hostName;
  // Pending unparsed text above this many bytes is resynchronised at the next event (0: never).
  qsizetype receiveBufferCap = DefaultReceiveBufferCap;

  static constexpr qsizetype DefaultReceiveBufferCap = qsizetype{8} * 1024 * 1024;
};

class IosConnection : public QObject, public ICommandSender {
  Q_OBJECT

 public:
  static constexpr std::int32_t DefaultPort = 7651;

  IosConnection(IRaiseMsg& sink, IosLinkSettings settings, QObject* parent = nullptr);
  ~IosConnection() override;

  // Receivers of the events; null drops them (unknown types are still reported).
  void SetEventHandlers(IIosEventHandlers* handlers) { handlers_ = handlers; }

  std::int32_t GetIOSPort();
  void ConnectToIOS();
  // A local close: reports the socket state, but leaves the panel, counter and pending text.
  void DisconnectFromIOS();
  // Sends the text as it is (Latin-1), without a terminator. A failure is reported (TELM-0027)
  // and its message returned.
  SendOutcome SendCommand(const QString& command) override;
  // Asks the IOS for full device, queue, block, settings and channel configuration info.
  void RequestFullRefresh();

  // The socket state as a small number; 0 means closed.
  int SocketState() const;
  std::uint64_t BytesReceivedTotal() const { return bytesReceivedTotal_; }
  // What the "BytesReceived" status panel shows now.
  const QString& BytesReceivedText() const { return panelText_; }
  qsizetype PendingBytes() const { return buffer_.PendingSize(); }
  // Events parsed but not yet handed to the handlers.
  std::size_t EventsWaiting() const;

  // The longest the handlers are given in one go before the event loop runs again.
  static constexpr std::chrono::milliseconds DispatchSlice{20};
  // What the socket buffers before it stops reading from the peer.
  static constexpr qint64 SocketReadBufferSize = qint64{1} * 1024 * 1024;

 Q_SIGNALS:
  // New text for the "BytesReceived" status panel: the link state or the byte count.
  void BytesReceivedPanelChanged(const QString& text);

 private:
  void OnConnected();
  void OnDisconnected();
  void OnReadyRead();
  // Reads and parses what the socket holds; false when nothing could be read.
  bool ReadArrival();
  // Hands waiting events to the handlers for one slice; reads on when none wait.
  void Pump();
  // Hands the first waiting arrival's events over until the deadline.
  void DispatchFront(EventBatch::Clock::time_point deadline);
  // Everything received so far, handled at once.
  void DrainAll();
  void OnErrorOccurred(QAbstractSocket::SocketError error);
  void StartConnect();
  void ResetReceiveState();
  void SetPanel(const QString& text);
  void Report(std::int32_t msgType, const QString& text);
  void ReportCaught(const char* code);
  xml::XmlDocument ResynchroniseIfOverCap();

  IRaiseMsg& sink_;
  IosLinkSettings settings_;
  IIosEventHandlers* handlers_ = nullptr;
  QTcpSocket* socket_;  // child of this object
  IosReceiveBuffer buffer_;
  std::deque<EventBatch> waiting_;
  QTimer* pumpTimer_;         // child of this object
  bool dispatching_ = false;  // a handler is running (it may run a nested event loop)
  std::uint64_t bytesReceivedTotal_ = 0;
  QString panelText_;
  bool closingLocally_ = false;
};

// The byte count as the status panel shows it: grouping separators, no decimals ("#,##0").
QString FormatByteCount(std::uint64_t count);

}  // namespace telmon
