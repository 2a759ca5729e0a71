#pragma once

// The listening side of the simulated server: accepts any number of monitors and hands each
// one the events meant for everybody.

#include "iossim/SimClient.h"

#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QTcpServer>

#include <cstdint>

namespace telmon::iossim {

class CommandDispatcher;

class SimServer : public QObject {
  Q_OBJECT

 public:
  SimServer(CommandDispatcher& dispatcher, const OutputFaults& faults, std::uint64_t seed,
            QObject* parent = nullptr);

  bool Listen(const QHostAddress& address, quint16 port, QString* error);
  quint16 Port() const { return server_.serverPort(); }
  QHostAddress Address() const { return server_.serverAddress(); }
  int ClientCount() const { return static_cast<int>(clients_.size()); }

  void Broadcast(const QList<QByteArray>& events);
  void BroadcastRaw(const QByteArray& bytes);

 Q_SIGNALS:
  void Log(const QString& line);
  void Trace(const QString& line);

 private:
  void OnNewConnection();
  void OnClosed(SimClient* client);

  CommandDispatcher& dispatcher_;
  OutputFaults faults_;
  std::uint64_t seed_;
  std::uint64_t accepted_ = 0;
  QTcpServer server_;
  QList<SimClient*> clients_;  // owned as children
};

}  // namespace telmon::iossim
