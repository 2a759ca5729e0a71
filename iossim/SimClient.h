#pragma once

// One monitor connected to the simulated server: commands in, events out. The output path can
// misbehave on purpose (split events, packed writes, stalls, an early close) so that the
// monitor's receive path can be tested against everything TCP allows.

#include "iossim/CommandFramer.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

#include <cstdint>
#include <deque>
#include <random>

namespace telmon::iossim {

class CommandDispatcher;

struct OutputFaults {
  bool splitEvents = false;          // every event in several writes, cut at random bytes
  bool pack = false;                 // many events gathered into one write
  std::int64_t closeAfterBytes = 0;  // close the connection after this many bytes (0 = never)
  int stallMs = 0;                   // pause after every write
};

class SimClient : public QObject {
  Q_OBJECT

 public:
  SimClient(QTcpSocket* socket, CommandDispatcher& dispatcher, const OutputFaults& faults,
            std::uint64_t seed, QObject* parent = nullptr);

  void Send(const QList<QByteArray>& events);
  // Bytes that are not an event, sent as they are (fault injection).
  void SendRaw(const QByteArray& bytes);
  QString PeerText() const { return peer_; }
  std::int64_t BytesSent() const { return sent_; }

 Q_SIGNALS:
  void Closed(SimClient* client);
  void Log(const QString& line);
  // Every command received, for verbose logs.
  void Trace(const QString& line);

 private:
  void OnReadyRead();
  void OnDisconnected();
  void Enqueue(const QByteArray& bytes);
  void SchedulePump();
  void Pump();
  // Writes the chunk; false when the connection was closed by the byte limit.
  bool WriteChunk(const QByteArray& chunk);

  QPointer<QTcpSocket> socket_;
  CommandDispatcher& dispatcher_;
  OutputFaults faults_;
  std::mt19937_64 rng_;
  CommandFramer framer_;
  std::deque<QByteArray> outgoing_;
  QTimer pump_;
  std::int64_t sent_ = 0;
  bool closing_ = false;
  QString peer_;
};

}  // namespace telmon::iossim
