#pragma once

// XML DOM helpers over libxml2. Every document the program builds or parses goes through
// here, so the parser settings (no network, no DTD loading, no entity substitution,
// insignificant blanks dropped, attribute values normalised) are fixed in one place. Text with
// a document type declaration is refused outright: the protocol never uses one, and refusing
// it keeps entity expansion and external files out of reach. libxml2's own limits (10 MB per
// text node or attribute value, 256 levels of nesting) stay on, so hostile text fails fast.

#include "util/IRaiseMsg.h"
#include "util/Value.h"

#include <libxml/tree.h>
#include <QString>

#include <QByteArrayView>

#include <array>
#include <memory>
#include <optional>
#include <span>
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
// The parsed document, or none; with a sink, a failure is reported as XMLDOM-0001 (text that
// is not well-formed) or XMLDOM-0002 (the parser could not run).
XmlDocument ParseXmlDocument(IRaiseMsg* sink, const QString& text);
// Several top-level elements parsed under one wrapper root element; with a sink, a failure is
// reported by the document parse and then as XMLDOM-0005 (or XMLDOM-0006 when the wrapping
// itself failed).
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

// The attributes of one element named in a fixed table, found in one pass over the element
// rather than one search per name (the list pages read most attributes of every event). Value i
// is the first attribute named names[i], as GetAttributeText finds it.
class AttributeTable {
 public:
  static constexpr std::size_t MaxNames = 32;
  // At most MaxNames names; the names must outlive nothing (they are compared, not kept).
  AttributeTable(XmlElement element, std::span<const char* const> names);
  bool Has(std::size_t i) const { return i < attrs_.size() && attrs_[i] != nullptr; }
  // As GetAttributeText: "" when the attribute is missing.
  QString Text(std::size_t i) const;
  // The value as UTF-8 read in place when it is one text node (nearly always); none otherwise,
  // and none when the attribute is missing.
  std::optional<QByteArrayView> InPlace(std::size_t i) const;

 private:
  std::array<const xmlAttr*, MaxNames> attrs_{};
};
// Empty when the element is null, the attribute is missing or empty, or it is not a Boolean.
std::optional<bool> GetAttributeBoolean(XmlElement element, const char* name);
// The serialised form of a node.
QString NodeXml(XmlElement element);

// Attribute text for a value: "" for empty and null, plain decimal text for numbers (never an
// exponent), "1"/"0" for Booleans, and date-times as "HH:mm:ss" (pure time), "yyyy-MM-dd"
// (midnight) or "yyyy-MM-dd HH:mm:ss". Markup characters are not escaped.
QString VariantToXmlText(const Value& value);
// A floating value as plain decimal text, rounded to the 15 significant digits a double
// carries: 1.0E-7 gives "0.0000001", 0.1 gives "0.1", 1E+20 gives "100000000000000000000".
QString NumberToPlainText(double value);

}  // namespace telmon::xml
