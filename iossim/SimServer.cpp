#include "iossim/SimServer.h"

namespace telmon::iossim {

SimServer::SimServer(CommandDispatcher& dispatcher, const OutputFaults& faults, std::uint64_t seed,
                     QObject* parent)
    : QObject(parent), dispatcher_(dispatcher), faults_(faults), seed_(seed) {
  connect(&server_, &QTcpServer::newConnection, this, &SimServer::OnNewConnection);
}

bool SimServer::Listen(const QHostAddress& address, quint16 port, QString* error) {
  if (!server_.listen(address, port)) {
    *error = QStringLiteral("cannot listen on %1:%2: %3")
                 .arg(address.toString())
                 .arg(port)
                 .arg(server_.errorString());
    return false;
  }
  return true;
}

void SimServer::OnNewConnection() {
  while (QTcpSocket* socket = server_.nextPendingConnection()) {
    // Each connection gets its own random stream, so a run with a seed repeats itself.
    auto* client = new SimClient(socket, dispatcher_, faults_, seed_ + ++accepted_, this);
    connect(client, &SimClient::Closed, this, &SimServer::OnClosed);
    connect(client, &SimClient::Log, this, &SimServer::Log);
    connect(client, &SimClient::Trace, this, &SimServer::Trace);
    clients_.push_back(client);
    Q_EMIT Log(QStringLiteral("monitor connected from %1 (%2 connected)")
                   .arg(client->PeerText())
                   .arg(clients_.size()));
  }
}

void SimServer::OnClosed(SimClient* client) {
  if (clients_.removeOne(client)) {
    Q_EMIT Log(QStringLiteral("monitor %1 disconnected (%2 connected)")
                   .arg(client->PeerText())
                   .arg(clients_.size()));
    client->deleteLater();
  }
}

void SimServer::Broadcast(const QList<QByteArray>& events) {
  for (SimClient* client : clients_) {
    client->Send(events);
  }
}

void SimServer::BroadcastRaw(const QByteArray& bytes) {
  for (SimClient* client : clients_) {
    client->SendRaw(bytes);
  }
}

}  // namespace telmon::iossim
