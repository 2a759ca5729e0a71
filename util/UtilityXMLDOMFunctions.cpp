#include "util/UtilityXMLDOMFunctions.h"

#include "util/TextConversionFunctions.h"
#include "util/UtilityFunctions.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlsave.h>
#include <libxml/xpath.h>

namespace telmon::xml {

namespace {

// No network, no DTD loading or validation, no entity substitution, blanks dropped, and
// libxml2's own error printing off: failures are reported through the sink only.
constexpr int ParserOptions = XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR |
                              XML_PARSE_NOWARNING | XML_PARSE_NOCDATA;

void SilentErrors(void* /*ctx*/, const char* /*msg*/, ...) {}
void SilentStructuredErrors(void* /*ctx*/, xmlErrorPtr /*error*/) {}

void InitLibxml() {
  static const bool done = [] {
    xmlInitParser();
    xmlSetGenericErrorFunc(nullptr, SilentErrors);
    xmlSetStructuredErrorFunc(nullptr, SilentStructuredErrors);
    return true;
  }();
  (void)done;
}

struct XPathContextFree {
  void operator()(xmlXPathContext* c) const noexcept { xmlXPathFreeContext(c); }
};
struct XPathObjectFree {
  void operator()(xmlXPathObject* o) const noexcept { xmlXPathFreeObject(o); }
};
using XPathContext = std::unique_ptr<xmlXPathContext, XPathContextFree>;
using XPathObject = std::unique_ptr<xmlXPathObject, XPathObjectFree>;

XmlDocument ReadUtf8(const QByteArray& utf8) {
  InitLibxml();
  if (utf8.isEmpty()) {
    return nullptr;
  }
  XmlDocument doc(xmlReadMemory(utf8.constData(), static_cast<int>(utf8.size()), nullptr,
                                "UTF-8", ParserOptions));
  if (!doc) {
    return nullptr;
  }
  // The protocol never uses document type declarations; a document that carries one (with its
  // entity declarations) is refused rather than half-trusted.
  if (doc->intSubset != nullptr || doc->extSubset != nullptr ||
      xmlDocGetRootElement(doc.get()) == nullptr) {
    return nullptr;
  }
  return doc;
}

QString FromXmlChars(const xmlChar* s) {
  return s == nullptr ? QString() : QString::fromUtf8(reinterpret_cast<const char*>(s));
}

XPathObject Evaluate(xmlDoc* doc, const xmlNode* context, const char* xpath) {
  if (doc == nullptr) {
    return nullptr;
  }
  XPathContext ctx(xmlXPathNewContext(doc));
  if (!ctx) {
    return nullptr;
  }
  ctx->node = const_cast<xmlNode*>(context != nullptr ? context : xmlDocGetRootElement(doc));
  return XPathObject(xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(xpath), ctx.get()));
}

QString NodeStringValue(const xmlNode* node) {
  xmlChar* content = xmlNodeGetContent(node);
  QString s = FromXmlChars(content);
  xmlFree(content);
  return s;
}

}  // namespace

void XmlDocFree::operator()(xmlDoc* doc) const noexcept { xmlFreeDoc(doc); }

XmlDocument NewXmlDocument() {
  InitLibxml();
  return XmlDocument(xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0")));
}

XmlDocument ParseXmlDocument(IRaiseMsg* sink, const QString& text) {
  XmlDocument doc = ReadUtf8(text.toUtf8());
  if (!doc && sink != nullptr) {
    sink->RaiseMsg(MsgType::Error, QStringLiteral("XMLDOM-0001: Cannot parse XML document; ") +
                                       TruncateForDisplay(text, 40));
  }
  return doc;
}

XmlDocument ParseXmlFragment(IRaiseMsg* sink, const QString& text) {
  QString wrapped = QStringLiteral("<%1>$</%1>").arg(QLatin1String(FragmentWrapperName));
  wrapped.replace(wrapped.indexOf(QLatin1Char('$')), 1, text);
  XmlDocument doc = ParseXmlDocument(sink, wrapped);
  if (!doc && sink != nullptr) {
    sink->RaiseMsg(MsgType::Error, QStringLiteral("XMLDOM-0005: Cannot parse XML fragment; ") +
                                       TruncateForDisplay(text, 40));
  }
  return doc;
}

XmlDocument ParseXmlFragmentUtf8(const QByteArray& utf8) {
  static const QByteArray open = QByteArray("<") + FragmentWrapperName + ">";
  static const QByteArray close = QByteArray("</") + FragmentWrapperName + ">";
  QByteArray wrapped;
  wrapped.reserve(open.size() + utf8.size() + close.size());
  wrapped.append(open).append(utf8).append(close);
  return ReadUtf8(wrapped);
}

std::vector<XmlElement> SelectNodes(const XmlDocument& doc, const char* xpath,
                                    XmlElement context) {
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
  if (element == nullptr || element->type != XML_ELEMENT_NODE) {
    return {};
  }
  const xmlAttr* attr = xmlHasProp(element, reinterpret_cast<const xmlChar*>(name));
  if (attr == nullptr) {
    return {};
  }
  return NodeStringValue(reinterpret_cast<const xmlNode*>(attr));
}

bool HasAttribute(XmlElement element, const char* name) {
  return element != nullptr && element->type == XML_ELEMENT_NODE &&
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

}  // namespace telmon::xml
