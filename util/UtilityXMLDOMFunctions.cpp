#include "util/UtilityXMLDOMFunctions.h"

#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"
#include "util/UtilityFunctions.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlsave.h>
#include <libxml/xpath.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>
#include <string_view>

namespace telmon::xml {

namespace {

// No network, no DTD loading or validation, no entity substitution (XML_PARSE_NOENT and
// XML_PARSE_DTDLOAD stay off), blanks dropped, CDATA read as text, and libxml2's own error
// printing off: failures are reported through the sink only. XML_PARSE_HUGE stays off so that
// libxml2's size and depth limits apply.
constexpr int ParserOptions = XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR |
                              XML_PARSE_NOWARNING | XML_PARSE_NOCDATA;

void SilentErrors(void* /*ctx*/, const char* /*msg*/, ...) {}
void SilentStructuredErrors(void* /*ctx*/, xmlErrorPtr /*error*/) {}

// A document type declaration stops the parse before any of it is acted on.
void RefuseDoctype(void* ctx, const xmlChar* /*name*/, const xmlChar* /*externalId*/,
                   const xmlChar* /*systemId*/) {
  auto* ctxt = static_cast<xmlParserCtxt*>(ctx);
  ctxt->wellFormed = 0;
  xmlStopParser(ctxt);
}

void InitLibxml() {
  static const bool done = [] {
    xmlInitParser();
    xmlSetGenericErrorFunc(nullptr, SilentErrors);
    xmlSetStructuredErrorFunc(nullptr, SilentStructuredErrors);
    return true;
  }();
  (void)done;
}

struct ParserCtxtFree {
  void operator()(xmlParserCtxt* c) const noexcept { xmlFreeParserCtxt(c); }
};
struct XPathContextFree {
  void operator()(xmlXPathContext* c) const noexcept { xmlXPathFreeContext(c); }
};
struct XPathObjectFree {
  void operator()(xmlXPathObject* o) const noexcept { xmlXPathFreeObject(o); }
};
using ParserContext = std::unique_ptr<xmlParserCtxt, ParserCtxtFree>;
using XPathContext = std::unique_ptr<xmlXPathContext, XPathContextFree>;
using XPathObject = std::unique_ptr<xmlXPathObject, XPathObjectFree>;

// libxml2 checks an element's attribute names for duplicates pair by pair, so one element with
// tens of thousands of attributes costs seconds of parsing; no element of the protocol has more
// than a few dozen.
constexpr int MaxAttributesPerElement = 1000;

// Skips markup that is not a tag (comment, CDATA section, processing instruction, declaration);
// `p` is just past its "<". Returns the position after its end, or `end`.
const char* SkipNonTagMarkup(const char* p, const char* end) {
  const std::string_view rest(p, static_cast<std::size_t>(end - p));
  std::string_view terminator = ">";
  if (rest.starts_with("!--")) {
    terminator = "-->";
  } else if (rest.starts_with("![CDATA[")) {
    terminator = "]]>";
  } else if (rest.starts_with("?")) {
    terminator = "?>";
  }
  const auto found = rest.find(terminator, 1);
  return found == std::string_view::npos ? end : p + found + terminator.size();
}

// Counts the attributes of each start tag in one linear pass (a "=" outside quoted values);
// quoted values are skipped whole, since they may hold "<", ">" and "=".
bool HasElementWithTooManyAttributes(const QByteArray& utf8) {
  const char* p = utf8.constData();
  const char* const end = p + utf8.size();
  while ((p = static_cast<const char*>(std::memchr(p, '<', static_cast<std::size_t>(end - p)))) !=
         nullptr) {
    ++p;
    if (p < end && (*p == '!' || *p == '?')) {
      p = SkipNonTagMarkup(p, end);
      continue;
    }
    int count = 0;
    for (; p < end && *p != '>' && *p != '<'; ++p) {
      if (*p == '"' || *p == '\'') {
        const void* close = std::memchr(p + 1, *p, static_cast<std::size_t>(end - p - 1));
        if (close == nullptr) {
          return false;  // unterminated: the parser refuses it anyway
        }
        p = static_cast<const char*>(close);
      } else if (*p == '=' && ++count > MaxAttributesPerElement) {
        return true;
      }
    }
  }
  return false;
}

// Parses UTF-8 text; none when it is not a well-formed document with a root element. Throws
// TelmonError when the parser cannot be set up for it.
XmlDocument ReadUtf8(const QByteArray& utf8) {
  InitLibxml();
  if (utf8.isEmpty()) {
    return nullptr;
  }
  if (utf8.size() > INT_MAX) {
    throw TelmonError(ErrorNumber::Overflow, QStringLiteral("Overflow"));
  }
  if (HasElementWithTooManyAttributes(utf8)) {
    return nullptr;
  }
  ParserContext ctxt(xmlNewParserCtxt());
  if (!ctxt || ctxt->sax == nullptr) {
    throw TelmonError(ErrorNumber::OutOfMemory, QStringLiteral("Out of memory"));
  }
  ctxt->sax->internalSubset = RefuseDoctype;
  ctxt->sax->externalSubset = RefuseDoctype;
  ctxt->sax->serror = SilentStructuredErrors;
  // The text is always UTF-8 here, whatever an XML declaration in it claims.
  XmlDocument doc(xmlCtxtReadMemory(ctxt.get(), utf8.constData(), static_cast<int>(utf8.size()),
                                    nullptr, "UTF-8", ParserOptions));
  if (!doc || ctxt->wellFormed == 0 || doc->intSubset != nullptr || doc->extSubset != nullptr ||
      xmlDocGetRootElement(doc.get()) == nullptr) {
    return nullptr;
  }
  return doc;
}

QString FromXmlChars(const xmlChar* s) {
  return s == nullptr ? QString() : QString::fromUtf8(reinterpret_cast<const char*>(s));
}

XPathObject Evaluate(xmlDoc* doc, const xmlNode* context, const char* xpath) {
  if (doc == nullptr || xpath == nullptr) {
    return nullptr;
  }
  XPathContext ctx(xmlXPathNewContext(doc));
  if (!ctx) {
    return nullptr;
  }
  ctx->error = SilentStructuredErrors;
  ctx->node = const_cast<xmlNode*>(context != nullptr ? context : xmlDocGetRootElement(doc));
  return XPathObject(xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(xpath), ctx.get()));
}

QString NodeStringValue(const xmlNode* node) {
  xmlChar* content = xmlNodeGetContent(node);
  QString s = FromXmlChars(content);
  xmlFree(content);
  return s;
}

// Reports the exception being handled; call only inside a catch block.
void ReportLoadError(IRaiseMsg* sink, const char* prefix, const QString& text) {
  const ErrorInfo e = CurrentErrorInfo();
  if (sink != nullptr) {
    sink->RaiseMsg(MsgType::Error, QLatin1String(prefix) + QString::number(e.number) +
                                       QStringLiteral(", ") + e.description + QStringLiteral("; ") +
                                       TruncateForDisplay(text, 40));
  }
}

}  // namespace

void XmlDocFree::operator()(xmlDoc* doc) const noexcept { xmlFreeDoc(doc); }

XmlDocument NewXmlDocument() {
  InitLibxml();
  return XmlDocument(xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0")));
}

XmlDocument ParseXmlDocument(IRaiseMsg* sink, const QString& text) {
  try {
    XmlDocument doc = ReadUtf8(text.toUtf8());
    if (!doc && sink != nullptr) {
      sink->RaiseMsg(MsgType::Error, QStringLiteral("XMLDOM-0001: Cannot parse XML document; ") +
                                         TruncateForDisplay(text, 40));
    }
    return doc;
  } catch (...) {
    ReportLoadError(sink, "XMLDOM-0002: Cannot load XML; ", text);
  }
  return nullptr;
}

XmlDocument ParseXmlFragment(IRaiseMsg* sink, const QString& text) {
  XmlDocument doc;
  try {
    // One replacement of the first placeholder only, so a "$" in the text stays as it is.
    QString wrapped = QStringLiteral("<%1>$</%1>").arg(QLatin1String(FragmentWrapperName));
    wrapped.replace(wrapped.indexOf(QLatin1Char('$')), 1, text);
    doc = ParseXmlDocument(sink, wrapped);
  } catch (...) {
    ReportLoadError(sink, "XMLDOM-0006: Cannot load XML; ", text);
  }
  if (!doc && sink != nullptr) {
    sink->RaiseMsg(MsgType::Error, QStringLiteral("XMLDOM-0005: Cannot parse XML fragment; ") +
                                       TruncateForDisplay(text, 40));
  }
  return doc;
}

XmlDocument ParseXmlFragmentUtf8(const QByteArray& utf8) {
  static const QByteArray open = QByteArray("<") + FragmentWrapperName + ">";
  static const QByteArray close = QByteArray("</") + FragmentWrapperName + ">";
  try {
    QByteArray wrapped;
    wrapped.reserve(open.size() + utf8.size() + close.size());
    wrapped.append(open).append(utf8).append(close);
    return ReadUtf8(wrapped);
  } catch (...) {
    // The receive path reports its own message for text that yields no document.
    return nullptr;
  }
}

std::vector<XmlElement> SelectNodes(const XmlDocument& doc, const char* xpath, XmlElement context) {
  std::vector<XmlElement> nodes;
  XPathObject result = Evaluate(doc.get(), context, xpath);
  if (result && result->type == XPATH_NODESET && result->nodesetval != nullptr) {
    const xmlNodeSet* set = result->nodesetval;
    nodes.reserve(static_cast<std::size_t>(set->nodeNr));
    for (int i = 0; i < set->nodeNr; ++i) {
      nodes.push_back(set->nodeTab[i]);
    }
  }
  return nodes;
}

XmlElement SelectSingleNode(const XmlDocument& doc, const char* xpath, XmlElement context) {
  XPathObject result = Evaluate(doc.get(), context, xpath);
  if (result && result->type == XPATH_NODESET && result->nodesetval != nullptr &&
      result->nodesetval->nodeNr > 0) {
    return result->nodesetval->nodeTab[0];
  }
  return nullptr;
}

XmlElement DocumentElement(const XmlDocument& doc) {
  return doc ? xmlDocGetRootElement(doc.get()) : nullptr;
}

QString GetNodeText(XmlElement element, const QString& xpath) {
  if (element == nullptr || element->doc == nullptr) {
    return {};
  }
  const QByteArray path = xpath.toUtf8();
  XPathObject result = Evaluate(element->doc, element, path.constData());
  if (!result) {
    return {};
  }
  if (result->type == XPATH_NODESET) {
    if (result->nodesetval == nullptr || result->nodesetval->nodeNr == 0) {
      return {};
    }
    return NodeStringValue(result->nodesetval->nodeTab[0]);
  }
  xmlChar* s = xmlXPathCastToString(result.get());
  QString text = FromXmlChars(s);
  xmlFree(s);
  return text;
}

QString GetAttributeText(XmlElement element, const char* name) {
  if (element == nullptr || element->type != XML_ELEMENT_NODE || name == nullptr) {
    return {};
  }
  const xmlAttr* attr = xmlHasProp(element, reinterpret_cast<const xmlChar*>(name));
  if (attr == nullptr) {
    return {};
  }
  // Nearly every value is one text node, read in place; the list pages read a dozen or more
  // attributes of every event, so the copy the general path makes shows.
  const xmlNode* only = attr->children;
  if (only != nullptr && only->next == nullptr && only->type == XML_TEXT_NODE) {
    return FromXmlChars(only->content);
  }
  return NodeStringValue(reinterpret_cast<const xmlNode*>(attr));
}

AttributeTable::AttributeTable(XmlElement element, std::span<const char* const> names) {
  if (element == nullptr || element->type != XML_ELEMENT_NODE) {
    return;
  }
  const std::size_t n = std::min(names.size(), MaxNames);
  // Events carry their attributes in much the order of the table, so each search starts after
  // the last match and usually ends at its first comparison.
  std::size_t next = 0;
  for (const xmlAttr* attr = element->properties; attr != nullptr; attr = attr->next) {
    for (std::size_t k = 0; k < n; ++k) {
      const std::size_t i = next + k < n ? next + k : next + k - n;
      if (attrs_[i] == nullptr && names[i] != nullptr &&
          xmlStrEqual(attr->name, reinterpret_cast<const xmlChar*>(names[i])) != 0) {
        attrs_[i] = attr;
        next = i + 1 < n ? i + 1 : 0;
        break;
      }
    }
  }
}

QString AttributeTable::Text(std::size_t i) const {
  if (!Has(i)) {
    return {};
  }
  if (const std::optional<QByteArrayView> value = InPlace(i)) {
    return QString::fromUtf8(*value);
  }
  return NodeStringValue(reinterpret_cast<const xmlNode*>(attrs_[i]));
}

std::optional<QByteArrayView> AttributeTable::InPlace(std::size_t i) const {
  if (!Has(i)) {
    return std::nullopt;
  }
  const xmlNode* only = attrs_[i]->children;
  if (only == nullptr) {
    return QByteArrayView();
  }
  if (only->next == nullptr && only->type == XML_TEXT_NODE && only->content != nullptr) {
    return QByteArrayView(reinterpret_cast<const char*>(only->content));
  }
  return std::nullopt;
}

bool HasAttribute(XmlElement element, const char* name) {
  return element != nullptr && element->type == XML_ELEMENT_NODE && name != nullptr &&
         xmlHasProp(element, reinterpret_cast<const xmlChar*>(name)) != nullptr;
}

std::optional<bool> GetAttributeBoolean(XmlElement element, const char* name) {
  const QString text = GetAttributeText(element, name);
  if (text.isEmpty()) {
    return std::nullopt;
  }
  return ToBoolean(text);
}

QString NodeXml(XmlElement element) {
  if (element == nullptr) {
    return {};
  }
  struct BufferFree {
    void operator()(xmlBuffer* b) const noexcept { xmlBufferFree(b); }
  };
  std::unique_ptr<xmlBuffer, BufferFree> buffer(xmlBufferCreate());
  if (!buffer) {
    return {};
  }
  if (xmlNodeDump(buffer.get(), element->doc, const_cast<xmlNode*>(element), 0, 0) < 0) {
    return {};
  }
  return FromXmlChars(xmlBufferContent(buffer.get()));
}

QString NumberToPlainText(double value) { return FloatingText(value); }

QString VariantToXmlText(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Empty:
    case Value::Kind::Null:
      return {};
    case Value::Kind::Floating:
      return NumberToPlainText(value.floating());
    case Value::Kind::Decimal:
      return value.decimal().ToText();
    case Value::Kind::DateTime:
      return DateTimeText(value.dateTime());
    case Value::Kind::Boolean:
      return value.boolean() ? QStringLiteral("1") : QStringLiteral("0");
    default:
      return value.ToText();
  }
}

}  // namespace telmon::xml
