#include "ioslink/IosErrors.h"

namespace telmon {

std::int32_t SocketErrorNumber(QAbstractSocket::SocketError error) {
  switch (error) {
    case QAbstractSocket::ConnectionRefusedError:
      return 10061;
    case QAbstractSocket::RemoteHostClosedError:
      return 10053;
    case QAbstractSocket::HostNotFoundError:
      return 11001;
    case QAbstractSocket::SocketAccessError:
      return 10013;
    case QAbstractSocket::SocketResourceError:
      return 10055;
    case QAbstractSocket::SocketTimeoutError:
      return 10060;
    case QAbstractSocket::NetworkError:
      return 10050;
    case QAbstractSocket::AddressInUseError:
      return 10048;
    case QAbstractSocket::SocketAddressNotAvailableError:
      return 10049;
    case QAbstractSocket::UnsupportedSocketOperationError:
      return 10045;
    default:
      return static_cast<std::int32_t>(error);
  }
}

std::int32_t SocketStatusCode(std::int32_t number) {
  return static_cast<std::int32_t>(0x800A0000U | (static_cast<std::uint32_t>(number) & 0xFFFFU));
}

}  // namespace telmon
