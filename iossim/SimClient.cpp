#include "iossim/SimClient.h"

#include "iossim/CommandDispatcher.h"

#include <algorithm>

namespace telmon::iossim {

namespace {

// Gathering window of the packed mode: long enough for a burst of updates to share a write.
constexpr int PackWindowMs = 20;
constexpr qsizetype MaxPackedWrite = qsizetype{256} * 1024;

}  // namespace

SimClient::SimClient(QTcpSocket* socket, CommandDispatcher& dispatcher, const OutputFaults& faults,
                     std::uint64_t seed, QObject* parent)
    : QObject(parent), socket_(socket), dispatcher_(dispatcher), faults_(faults), rng_(seed) {
  socket->setParent(this);
  socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
  peer_ = QStringLiteral("%1:%2").arg(socket->peerAddress().toString()).arg(socket->peerPort());
  pump_.setSingleShot(true);
  connect(&pump_, &QTimer::timeout, this, &SimClient::Pump);
  connect(socket, &QTcpSocket::readyRead, this, &SimClient::OnReadyRead);
  connect(socket, &QTcpSocket::disconnected, this, &SimClient::OnDisconnected);
}

void SimClient::OnReadyRead() {
  if (!socket_) {
    return;
  }
  for (const FramedItem& item : framer_.Feed(socket_->readAll())) {
    if (item.kind == FramedItem::Kind::Element) {
      Q_EMIT Trace(QStringLiteral("%1 sent %2").arg(peer_, QString::fromLatin1(item.text)));
      Send(dispatcher_.Handle(item.text));
    } else {
      Q_EMIT Log(QStringLiteral("%1 sent junk (%2 bytes)").arg(peer_).arg(item.text.size()));
      Send(dispatcher_.HandleJunk(item.text));
    }
  }
}

void SimClient::OnDisconnected() {
  if (!closing_) {
    closing_ = true;
    pump_.stop();
    Q_EMIT Closed(this);
  }
}

void SimClient::Send(const QList<QByteArray>& events) {
  for (const QByteArray& e : events) {
    Enqueue(e);
  }
  SchedulePump();
}

void SimClient::SendRaw(const QByteArray& bytes) {
  outgoing_.push_back(bytes);
  SchedulePump();
}

void SimClient::Enqueue(const QByteArray& event) {
  if (closing_ || event.isEmpty()) {
    return;
  }
  if (faults_.splitEvents && event.size() > 1) {
    std::uniform_int_distribution<int> pieces(2, 4);
    std::uniform_int_distribution<qsizetype> cut(1, event.size() - 1);
    std::vector<qsizetype> cuts;
    for (int i = pieces(rng_) - 1; i > 0; --i) {
      cuts.push_back(cut(rng_));
    }
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
    qsizetype from = 0;
    for (const qsizetype at : cuts) {
      outgoing_.push_back(event.mid(from, at - from));
      from = at;
    }
    outgoing_.push_back(event.mid(from));
  } else if (faults_.pack && !outgoing_.empty() && outgoing_.back().size() < MaxPackedWrite) {
    outgoing_.back().append(event);
  } else {
    outgoing_.push_back(event);
  }
}

void SimClient::SchedulePump() {
  if (closing_ || outgoing_.empty() || pump_.isActive()) {
    return;
  }
  pump_.start(faults_.pack ? PackWindowMs : 0);
}

void SimClient::Pump() {
  const bool paced = faults_.splitEvents || faults_.stallMs > 0;
  while (!outgoing_.empty() && !closing_) {
    const QByteArray chunk = std::move(outgoing_.front());
    outgoing_.pop_front();
    if (!WriteChunk(chunk)) {
      return;
    }
    if (paced && !outgoing_.empty()) {
      // One piece per turn, so that the pieces leave in separate segments.
      pump_.start(std::max(1, faults_.stallMs));
      return;
    }
  }
}

bool SimClient::WriteChunk(const QByteArray& chunk) {
  if (!socket_ || socket_->state() != QAbstractSocket::ConnectedState) {
    return false;
  }
  QByteArray bytes = chunk;
  bool closeNow = false;
  if (faults_.closeAfterBytes > 0 && sent_ + bytes.size() >= faults_.closeAfterBytes) {
    bytes.truncate(faults_.closeAfterBytes - sent_);
    closeNow = true;
  }
  socket_->write(bytes);
  socket_->flush();
  sent_ += bytes.size();
  if (closeNow) {
    Q_EMIT Log(QStringLiteral("%1: closing after %2 bytes").arg(peer_).arg(sent_));
    closing_ = true;
    outgoing_.clear();
    socket_->disconnectFromHost();
    Q_EMIT Closed(this);
    return false;
  }
  return true;
}

}  // namespace telmon::iossim
