// Feeds arbitrary bytes, read as the single-byte text the I/O server sends, through the fragment
// parser and the attribute readers, and checks the conversions the readers feed for
// consistency. Any crash, sanitizer report, or broken invariant is a finding.

#include "util/Decimal.h"
#include "util/TextConversionFunctions.h"
#include "util/UtilityXMLDOMFunctions.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstdlib>
#include <vector>

using namespace telmon;
using namespace telmon::xml;

namespace {

struct CountingSink : IRaiseMsg {
  int count = 0;
  void RaiseMsg(std::int32_t /*msgType*/, const QString& /*text*/) override { ++count; }
};

void Check(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// Every attribute value is also run through the conversions, which must agree with each other.
void CheckConversions(const QString& text) {
  const bool numeric = IsNumeric(text);
  Check(numeric == ToDouble(text).has_value());
  if (ToInt32(text)) {
    Check(numeric);
  }
  (void)ToInt16(text);
  (void)ToBoolean(text);
  (void)ToDateTime(text);
  if (const auto d = Decimal::Parse(text)) {
    Check(numeric);
    const auto again = Decimal::Parse(d->ToText());
    Check(again.has_value() && *again == *d);
  }
}

void ReadElement(XmlElement e) {
  static const char* const names[] = {"eventtype", "Desc",    "MsgType", "ID",
                                      "DeviceID",  "Enabled", "QName",   "value"};
  for (const char* name : names) {
    const QString text = GetAttributeText(e, name);
    Check(HasAttribute(e, name) || text.isEmpty());
    (void)GetAttributeBoolean(e, name);
  }
  for (const xmlAttr* a = e->properties; a != nullptr; a = a->next) {
    CheckConversions(GetAttributeText(e, reinterpret_cast<const char*>(a->name)));
  }
  (void)GetNodeText(e, QStringLiteral("@eventtype"));
  (void)NodeXml(e);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  const QString text = QString::fromLatin1(bytes);

  CountingSink sink;
  const XmlDocument doc = ParseXmlFragment(&sink, text);
  // A document and a message never come together; a failure always reports both levels.
  Check(doc ? sink.count == 0 : sink.count == 2);
  if (doc) {
    for (XmlElement e : SelectNodes(doc, "//*")) {
      ReadElement(e);
    }
  }
  // The receive path's byte-level variant must agree with the text variant on valid UTF-8.
  const XmlDocument raw = ParseXmlFragmentUtf8(bytes);
  if (QString::fromUtf8(bytes).toUtf8() == bytes && bytes == text.toUtf8()) {
    Check(static_cast<bool>(raw) == static_cast<bool>(doc));
  }
  (void)ParseXmlDocument(nullptr, text);
  CheckConversions(text.left(64));
  return 0;
}
