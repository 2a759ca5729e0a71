#pragma once

// Builds the XML elements the I/O server sends: one `Event` element per update, written in
// Latin-1 with every attribute value escaped.

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <initializer_list>
#include <utility>

namespace telmon::iossim {

// Message types of "Message" events.
namespace SimMsgType {
inline constexpr std::int32_t Info = 1;
inline constexpr std::int32_t Warning = 2;
inline constexpr std::int32_t Error = 4;
// A trace message: monitors show it only while they collect trace messages.
inline constexpr std::int32_t Trace = 8;
}  // namespace SimMsgType

// The value as it may stand between double quotes in Latin-1 XML: markup characters become
// entities, CR, LF and TAB character references, other control characters are dropped and
// characters beyond Latin-1 become "?".
QByteArray EscapeAttributeLatin1(const QString& value);

class EventXml {
 public:
  explicit EventXml(const char* eventType);

  EventXml& Attr(const char* name, const QString& value);
  EventXml& Attr(const char* name, const char* value);
  EventXml& Int(const char* name, std::int64_t value);
  EventXml& Bool(const char* name, bool value);
  // Appends an empty child element, e.g. <Limits Low="0" High="100"/>.
  EventXml& Child(const char* elementName,
                  std::initializer_list<std::pair<const char*, QString>> attributes);

  // The complete element: "/>" when it has no children, else closed by </Event>.
  QByteArray Finish() const;

 private:
  QByteArray open_;
  QByteArray children_;
};

QByteArray MessageEventXml(std::int32_t msgType, const QString& desc);

}  // namespace telmon::iossim
