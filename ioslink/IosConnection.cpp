#include "ioslink/IosConnection.h"

#include "ioslink/IosCommands.h"
#include "ioslink/IosErrors.h"
#include "ioslink/IosEventDispatch.h"
#include "platform/WindowUtilities.h"
#include "util/TextConversionFunctions.h"
#include "util/UtilityFunctions.h"

#include <QLocale>
#include <QTcpSocket>
#include <QTimer>

#include <cmath>
#include <limits>

namespace telmon {

namespace {

constexpr int ReceivedTextShown = 50;

QString ErrorText(const char* code, const ErrorInfo& info) {
  return QStringLiteral("%1: Error %2, %3")
      .arg(QLatin1String(code))
      .arg(info.number)
      .arg(info.description);
}

}  // namespace

QString FormatByteCount(std::uint64_t count) {
  QLocale locale;
  locale.setNumberOptions(locale.numberOptions() & ~QLocale::OmitGroupSeparator);
  return locale.toString(static_cast<qulonglong>(count));
}

IosConnection::IosConnection(IRaiseMsg& sink, IosLinkSettings settings, QObject* parent)
    : QObject(parent),
      sink_(sink),
      settings_(std::move(settings)),
      socket_(new QTcpSocket(this)),
      pumpTimer_(new QTimer(this)) {
  socket_->setObjectName(QStringLiteral("Winsock1"));
  socket_->setReadBufferSize(SocketReadBufferSize);
  pumpTimer_->setSingleShot(true);
  pumpTimer_->setInterval(0);
  connect(pumpTimer_, &QTimer::timeout, this, &IosConnection::Pump);
  connect(socket_, &QTcpSocket::connected, this, &IosConnection::OnConnected);
  connect(socket_, &QTcpSocket::disconnected, this, &IosConnection::OnDisconnected);
  connect(socket_, &QTcpSocket::readyRead, this, &IosConnection::OnReadyRead);
  connect(socket_, &QTcpSocket::errorOccurred, this, &IosConnection::OnErrorOccurred);
}

IosConnection::~IosConnection() {
  // Tearing the socket down is not the server closing the link.
  closingLocally_ = true;
  waiting_.clear();
  socket_->abort();
}

std::size_t IosConnection::EventsWaiting() const {
  std::size_t n = 0;
  for (const EventBatch& batch : waiting_) {
    n += batch.Remaining();
  }
  return n;
}

int IosConnection::SocketState() const { return static_cast<int>(socket_->state()); }

void IosConnection::Report(std::int32_t msgType, const QString& text) {
  sink_.RaiseMsg(msgType, text);
}

void IosConnection::ReportCaught(const char* code) {
  Report(MsgType::Error, ErrorText(code, CurrentErrorInfo()));
}

void IosConnection::SetPanel(const QString& text) {
  panelText_ = text;
  Q_EMIT BytesReceivedPanelChanged(text);
}

void IosConnection::ResetReceiveState() {
  bytesReceivedTotal_ = 0;
  buffer_.Clear();
}

std::int32_t IosConnection::GetIOSPort() {
  try {
    QString value;
    if (settings_.lookupValue) {
      value = settings_.lookupValue(QStringLiteral("IOS:TcpListenPortForMonitorConnections"),
                                    QString());
    }
    if (!IsNumeric(value)) {
      value = QStringLiteral("7651");
    }
    // The sum is taken before rounding, as the site's other tools do.
    const double port = ToDouble(value).value_or(DefaultPort) + settings_.dahsId - 1.0;
    const double rounded = std::nearbyint(port);
    if (!(rounded >= std::numeric_limits<std::int32_t>::min() &&
          rounded <= std::numeric_limits<std::int32_t>::max())) {
      throw TelmonError(ErrorNumber::Overflow, QStringLiteral("Overflow"));
    }
    return static_cast<std::int32_t>(rounded);
  } catch (...) {
    const ErrorInfo info = CurrentErrorInfo();
    Report(MsgType::PortLookup,
           QStringLiteral("TELM-0056: %1, %2").arg(info.number).arg(info.description));
    return DefaultPort;
  }
}

void IosConnection::ConnectToIOS() {
  DisconnectFromIOS();
  if (SocketState() != 0) {
    return;
  }
  try {
    StartConnect();
  } catch (...) {
    ReportCaught("TELM-0024");
    SetPanel(QStringLiteral("??"));
  }
}

void IosConnection::StartConnect() {
  const std::int32_t port = GetIOSPort();
  const QString host =
      settings_.hostName ? settings_.hostName() : WindowUtilities::LocalComputerName();
  Report(MsgType::Progress,
         QStringLiteral("Connecting to IOS (%1, TCP port %2)...").arg(host).arg(port));
  ResetReceiveState();
  SetPanel(QStringLiteral("Connecting..."));
  if (port < 1 || port > 65535) {
    throw TelmonError(IosErrorNumber::InvalidPropertyValue,
                      QStringLiteral("Invalid TCP port %1").arg(port));
  }
  socket_->connectToHost(host, static_cast<quint16>(port));
}

void IosConnection::DisconnectFromIOS() {
  DrainAll();
  try {
    const int state = SocketState();
    if (state == 0) {
      Report(MsgType::Progress, QStringLiteral("TELM-0025: Socket is closed"));
      return;
    }
    Report(MsgType::Progress,
           QStringLiteral("TELM-0025: Socket state=%1; closing socket...").arg(state));
    closingLocally_ = true;
    socket_->flush();
    socket_->abort();
    closingLocally_ = false;
  } catch (...) {
    closingLocally_ = false;
    ReportCaught("TELM-0026");
  }
}

SendOutcome IosConnection::SendCommand(const QString& command) {
  try {
    if (socket_->state() != QAbstractSocket::ConnectedState) {
      throw TelmonError(
          IosErrorNumber::WrongState,
          QStringLiteral("Wrong protocol or connection state for the requested transaction "
                         "or request"));
    }
    if (socket_->write(command.toLatin1()) < 0) {
      throw TelmonError(SocketErrorNumber(socket_->error()), socket_->errorString());
    }
    return {true, {}};
  } catch (...) {
    QString text = ErrorText("TELM-0027", CurrentErrorInfo());
    Report(MsgType::Error, text);
    return {false, std::move(text)};
  }
}

void IosConnection::RequestFullRefresh() {
  for (const QString& command : IosCommands::FullRefreshCommands()) {
    SendCommand(command);
  }
}

void IosConnection::OnConnected() {
  DrainAll();
  try {
    Report(MsgType::Progress, QStringLiteral("TELM-0030: Connected to IOS."));
    ResetReceiveState();
    SetPanel(QStringLiteral("Connected"));
    RequestFullRefresh();
  } catch (...) {
    ReportCaught("TELM-0031");
  }
}

void IosConnection::OnDisconnected() {
  if (closingLocally_) {
    return;
  }
  DrainAll();
  try {
    Report(MsgType::Progress, QStringLiteral("TELM-0028: Connection to IOS is closed."));
    ResetReceiveState();
    SetPanel(QStringLiteral("Closed"));
  } catch (...) {
    ReportCaught("TELM-0029");
  }
}

void IosConnection::OnErrorOccurred(QAbstractSocket::SocketError error) {
  // The server closing the link is the closed notification, not an error.
  if (error == QAbstractSocket::RemoteHostClosedError || closingLocally_) {
    return;
  }
  const std::int32_t number = SocketErrorNumber(error);
  Report(MsgType::Error, QStringLiteral("TELM-0035: Winsock error: %1, %2, Scode=%3, Source=%4")
                             .arg(number)
                             .arg(socket_->errorString())
                             .arg(SocketStatusCode(number))
                             .arg(socket_->objectName()));
}

void IosConnection::OnReadyRead() {
  // While earlier events wait (or a handler runs), the bytes wait in the socket for the pump.
  if (waiting_.empty() && !dispatching_) {
    Pump();
  }
}

void IosConnection::Pump() {
  if (dispatching_) {
    return;
  }
  const auto deadline = EventBatch::Clock::now() + DispatchSlice;
  bool nothingToRead = false;
  do {
    if (!waiting_.empty()) {
      DispatchFront(deadline);
    } else if (!ReadArrival()) {
      nothingToRead = true;
      break;
    }
  } while (EventBatch::Clock::now() < deadline);
  // Bytes that could not be read now come with the next readyRead, not a spinning timer.
  if (!waiting_.empty() || (!nothingToRead && socket_->bytesAvailable() > 0)) {
    pumpTimer_->start();
  }
}

void IosConnection::DrainAll() {
  if (dispatching_) {
    return;
  }
  pumpTimer_->stop();
  while (!waiting_.empty() || ReadArrival()) {
    if (!waiting_.empty()) {
      DispatchFront(EventBatch::Clock::time_point::max());
    }
  }
}

void IosConnection::DispatchFront(EventBatch::Clock::time_point deadline) {
  bool finished = true;
  dispatching_ = true;
  try {
    finished = waiting_.front().DispatchUntil(handlers_, sink_, deadline);
  } catch (...) {
    // The rest of that arrival is dropped.
    ReportCaught("TELM-0034");
  }
  dispatching_ = false;
  if (finished) {
    waiting_.pop_front();
  }
}

bool IosConnection::ReadArrival() {
  if (socket_->bytesAvailable() <= 0) {
    return false;
  }
  bool read = false;
  try {
    const QByteArray chunk = socket_->readAll();
    if (chunk.isEmpty()) {
      return false;
    }
    read = true;
    bytesReceivedTotal_ += static_cast<std::uint64_t>(chunk.size());
    SetPanel(FormatByteCount(bytesReceivedTotal_));
    xml::XmlDocument doc = buffer_.Append(chunk);
    if (!doc) {
      // The new chunk alone is shown, not the text kept from earlier arrivals.
      Report(MsgType::Error,
             QStringLiteral("TELM-0032: Can't parse XML from IOS. (XML=") +
                 TruncateForDisplay(QString::fromLatin1(chunk.left(ReceivedTextShown + 1)),
                                    ReceivedTextShown) +
                 QLatin1Char(')'));
      doc = ResynchroniseIfOverCap();
    }
    if (doc) {
      waiting_.emplace_back(std::move(doc));
    }
  } catch (...) {
    ReportCaught("TELM-0034");
  }
  return read;
}

xml::XmlDocument IosConnection::ResynchroniseIfOverCap() {
  std::optional<IosReceiveBuffer::Resync> resync =
      buffer_.Resynchronise(settings_.receiveBufferCap);
  if (!resync) {
    return nullptr;
  }
  // One message per resynchronisation; the arrivals before it each had their TELM-0032.
  Report(MsgType::Error,
         QStringLiteral("TELM-9001: The I/O server's stream could not be parsed for %1 bytes; "
                        "resynchronising at the next event (%2 bytes dropped).")
             .arg(FormatByteCount(static_cast<std::uint64_t>(resync->unparsedBytes)),
                  FormatByteCount(static_cast<std::uint64_t>(resync->droppedBytes))));
  return std::move(resync->doc);
}

}  // namespace telmon
