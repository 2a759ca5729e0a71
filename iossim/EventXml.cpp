#include "iossim/EventXml.h"

namespace telmon::iossim {

QByteArray EscapeAttributeLatin1(const QString& value) {
  QByteArray out;
  out.reserve(value.size() + 8);
  for (const QChar c : value) {
    const char16_t u = c.unicode();
    switch (u) {
      case u'&':
        out.append("&amp;");
        break;
      case u'<':
        out.append("&lt;");
        break;
      case u'>':
        out.append("&gt;");
        break;
      case u'"':
        out.append("&quot;");
        break;
      // Line breaks and tabs as character references: written as they are, a reader's
      // attribute normalisation would turn them into blanks.
      case u'\r':
        out.append("&#13;");
        break;
      case u'\n':
        out.append("&#10;");
        break;
      case u'\t':
        out.append("&#9;");
        break;
      default:
        if (u < 0x20 || (u >= 0x7F && u < 0xA0)) {
          break;  // not representable in an attribute of this stream
        }
        out.append(u <= 0xFF ? static_cast<char>(u) : '?');
    }
  }
  return out;
}

EventXml::EventXml(const char* eventType) {
  open_.append("<Event eventtype=\"").append(eventType).append('"');
}

EventXml& EventXml::Attr(const char* name, const QString& value) {
  open_.append(' ').append(name).append("=\"").append(EscapeAttributeLatin1(value)).append('"');
  return *this;
}

EventXml& EventXml::Attr(const char* name, const char* value) {
  return Attr(name, QString::fromLatin1(value));
}

EventXml& EventXml::Int(const char* name, std::int64_t value) {
  open_.append(' ').append(name).append("=\"").append(QByteArray::number(value)).append('"');
  return *this;
}

EventXml& EventXml::Bool(const char* name, bool value) {
  return Attr(name, value ? "True" : "False");
}

EventXml& EventXml::Child(const char* elementName,
                          std::initializer_list<std::pair<const char*, QString>> attributes) {
  children_.append('<').append(elementName);
  for (const auto& [name, value] : attributes) {
    children_.append(' ')
        .append(name)
        .append("=\"")
        .append(EscapeAttributeLatin1(value))
        .append('"');
  }
  children_.append("/>");
  return *this;
}

QByteArray EventXml::Finish() const {
  if (children_.isEmpty()) {
    return open_ + "/>";
  }
  return open_ + '>' + children_ + "</Event>";
}

QByteArray MessageEventXml(std::int32_t msgType, const QString& desc) {
  return EventXml("Message").Attr("Desc", desc).Int("MsgType", msgType).Finish();
}

}  // namespace telmon::iossim
