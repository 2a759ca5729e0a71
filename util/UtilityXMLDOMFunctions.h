#pragma once

// XML DOM helpers over libxml2. Every document the program builds or parses goes through
// here, so the parser settings (no network, no DTD loading, no entity substitution,
// insignificant blanks dropped) are fixed in one place.

#include "util/IRaiseMsg.h"

#include <QString>
#include <libxml/tree.h>

#include <memory>
#include <optional>
#include <vector>

namespace telmon::xml {

// Name of the synthetic root element that wraps a fragment of several top-level elements.
inline constexpr char FragmentWrapperName[] = "Z76335016_A23E_E011_A164_0019B97C8595";

struct XmlDocFree {
  void operator()(xmlDoc* doc) const noexcept;
};
// An owned document; nodes handed out by the selection functions live as long as it does.
using XmlDocument = std::unique_ptr<xmlDoc, XmlDocFree>;
using XmlElement = const xmlNode*;

XmlDocument NewXmlDocument();
XmlDocument ParseXmlDocument(IRaiseMsg* sink, const QString& text);
XmlDocument ParseXmlFragment(IRaiseMsg* sink, const QString& text);
// Same as ParseXmlFragment(nullptr, ...) but for text already encoded as UTF-8; the receive
// path uses it to avoid a round trip through QString.
XmlDocument ParseXmlFragmentUtf8(const QByteArray& utf8);

// XPath 1.0 selection. The context is the document root when `context` is null.
std::vector<XmlElement> SelectNodes(const XmlDocument& doc, const char* xpath,
                                    XmlElement context = nullptr);
XmlElement SelectSingleNode(const XmlDocument& doc, const char* xpath,
                            XmlElement context = nullptr);
XmlElement DocumentElement(const XmlDocument& doc);

// Text of the first node the XPath selects from the element; "" when none.
QString GetNodeText(XmlElement element, const QString& xpath);
// Attribute text; "" when the element is null or the attribute is missing.
QString GetAttributeText(XmlElement element, const char* name);
bool HasAttribute(XmlElement element, const char* name);
// Empty when the element is null, the attribute is missing or empty, or it is not a Boolean.
std::optional<bool> GetAttributeBoolean(XmlElement element, const char* name);
// The serialised form of a node.
QString NodeXml(XmlElement element);

}  // namespace telmon::xml
