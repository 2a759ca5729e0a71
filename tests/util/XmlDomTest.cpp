#include "util/UtilityXMLDOMFunctions.h"

#include "tests/util/QStringPrinter.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>

#include <vector>

using namespace telmon;
using namespace telmon::xml;

namespace {

struct Collect : IRaiseMsg {
  std::vector<std::pair<std::int32_t, QString>> msgs;
  void RaiseMsg(std::int32_t t, const QString& s) override { msgs.emplace_back(t, s); }
};

QString ElementName(XmlElement e) {
  return QString::fromUtf8(reinterpret_cast<const char*>(e->name));
}

// Hostile text must give no document, and exactly the document-level message when a sink is
// given; the message quotes only the first 40 characters.
void ExpectRefusedDocument(const QString& text) {
  Collect sink;
  EXPECT_FALSE(ParseXmlDocument(&sink, text));
  ASSERT_EQ(sink.msgs.size(), 1U);
  EXPECT_EQ(sink.msgs[0].first, MsgType::Error);
  EXPECT_EQ(sink.msgs[0].second, QStringLiteral("XMLDOM-0001: Cannot parse XML document; ") +
                                     text.left(40) +
                                     (text.size() > 40 ? QStringLiteral("...") : QString()));
}

}  // namespace

TEST(XmlFragment, TwoSiblingEventsShareOneWrapperRoot) {
  auto doc = ParseXmlFragment(nullptr, R"(<Event eventtype="A"/><Event eventtype="B"/>)");
  ASSERT_TRUE(doc);
  EXPECT_EQ(ElementName(DocumentElement(doc)), QString::fromLatin1(FragmentWrapperName));
  const auto events = SelectNodes(doc, "//Event");
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(GetAttributeText(events[1], "eventtype"), "B");
}

TEST(XmlFragment, DollarInsideTextIsKept) {
  auto doc = ParseXmlFragment(nullptr, R"(<Event Desc="cost $5 and $"/>)");
  ASSERT_TRUE(doc);
  EXPECT_EQ(GetAttributeText(SelectSingleNode(doc, "//Event"), "Desc"), "cost $5 and $");
}

TEST(XmlFragment, NestedEventIsFoundAtAnyDepth) {
  auto doc =
      ParseXmlFragment(nullptr, R"(<Batch><Group><Event eventtype="QUpdate"/></Group></Batch>)");
  ASSERT_EQ(SelectNodes(doc, "//Event").size(), 1U);
}

TEST(XmlFragment, EmptyTextGivesAnEmptyWrapper) {
  auto doc = ParseXmlFragment(nullptr, "");
  ASSERT_TRUE(doc);
  EXPECT_TRUE(SelectNodes(doc, "//Event").empty());
}

TEST(XmlFragment, FailureReportsBothMessagesWithTruncatedText) {
  Collect sink;
  EXPECT_FALSE(ParseXmlFragment(&sink, "<Event eventtype=\"Message\" Desc=\"unterminated"));
  ASSERT_EQ(sink.msgs.size(), 2U);
  EXPECT_EQ(sink.msgs[0].second, QStringLiteral("XMLDOM-0001: Cannot parse XML document; <") +
                                     QLatin1String(FragmentWrapperName) + QStringLiteral("><..."));
  EXPECT_EQ(
      sink.msgs[1].second,
      "XMLDOM-0005: Cannot parse XML fragment; <Event eventtype=\"Message\" Desc=\"untermi...");
  EXPECT_EQ(sink.msgs[1].first, MsgType::Error);
}

TEST(XmlFragment, Utf8VariantMatchesAndRefusesInvalidBytes) {
  auto doc = ParseXmlFragmentUtf8(
      "<Event Desc=\"50 \xC2\xB0"
      "C\"/><Event/>");
  ASSERT_TRUE(doc);
  EXPECT_EQ(GetAttributeText(SelectSingleNode(doc, "//Event"), "Desc"), QString::fromUtf8("50 °C"));
  EXPECT_FALSE(ParseXmlFragmentUtf8("<Event Desc=\"\xFF\xFE\"/>"));
  EXPECT_FALSE(ParseXmlFragmentUtf8("<Event>"));
}

TEST(XmlDocument, ParsesWithoutSinkSilently) {
  EXPECT_TRUE(ParseXmlDocument(nullptr, "<Event/>"));
  EXPECT_FALSE(ParseXmlDocument(nullptr, "<Event>"));
  EXPECT_TRUE(NewXmlDocument());
}

TEST(XmlDocument, BlanksDroppedAttributeValuesNormalisedEntitiesDecoded) {
  auto doc = ParseXmlDocument(nullptr,
                              "<Event a=\"x\ty\nz\r\nw\" b=\"&lt;&amp;&#65;&quot;\">\n  "
                              "<Row/>\n  <Row/>\n</Event>");
  ASSERT_TRUE(doc);
  const XmlElement root = DocumentElement(doc);
  EXPECT_EQ(GetAttributeText(root, "a"), "x y z w");
  EXPECT_EQ(GetAttributeText(root, "b"), "<&A\"");
  int children = 0;
  for (const xmlNode* n = root->children; n != nullptr; n = n->next) {
    ++children;
  }
  EXPECT_EQ(children, 2);
}

TEST(XmlHostile, MalformedOrEmptyTextIsRefused) {
  ExpectRefusedDocument("");
  ExpectRefusedDocument("<Event eventtype=\"DeviceUpdate\"");
  ExpectRefusedDocument("<Event><Row></Event>");
  ExpectRefusedDocument("<Event/><Event/>");
  ExpectRefusedDocument(QStringLiteral("<Event Desc=\"a") + QChar(1) + QStringLiteral("\"/>"));
  ExpectRefusedDocument("<Event Desc=\"&undeclared;\"/>");
}

TEST(XmlHostile, EntityExpansionBombIsRefused) {
  QString text = QStringLiteral("<?xml version=\"1.0\"?><!DOCTYPE lolz [<!ENTITY lol0 \"lol\">");
  for (int i = 1; i < 10; ++i) {
    text += QStringLiteral("<!ENTITY lol%1 \"").arg(i);
    for (int j = 0; j < 10; ++j) {
      text += QStringLiteral("&lol%1;").arg(i - 1);
    }
    text += QStringLiteral("\">");
  }
  text += QStringLiteral("]><lolz a=\"&lol9;\">&lol9;</lolz>");
  ExpectRefusedDocument(text);
}

TEST(XmlHostile, ExternalEntitiesAndDtdsAreNeverRead) {
  QTemporaryDir dir;
  ASSERT_TRUE(dir.isValid());
  QFile secret(dir.filePath("secret.txt"));
  ASSERT_TRUE(secret.open(QIODevice::WriteOnly));
  secret.write("TOPSECRET");
  secret.close();
  QFile dtd(dir.filePath("event.dtd"));
  ASSERT_TRUE(dtd.open(QIODevice::WriteOnly));
  dtd.write("<!ATTLIST Event injected CDATA \"yes\"><!ENTITY s SYSTEM \"secret.txt\">");
  dtd.close();
  const QString fileUrl = QStringLiteral("file://") + dir.path();
  ExpectRefusedDocument(QStringLiteral("<!DOCTYPE Event [<!ENTITY s SYSTEM \"%1/secret.txt\">]>"
                                       "<Event Desc=\"x\">&s;</Event>")
                            .arg(fileUrl));
  ExpectRefusedDocument(
      QStringLiteral("<!DOCTYPE Event SYSTEM \"%1/event.dtd\"><Event>&s;</Event>").arg(fileUrl));
  ExpectRefusedDocument(
      QStringLiteral("<!DOCTYPE Event SYSTEM \"%1/event.dtd\"><Event/>").arg(fileUrl));
  ExpectRefusedDocument("<!DOCTYPE Event PUBLIC \"-//x//y\" \"http://127.0.0.1:9/e.dtd\"><Event/>");
  // A DOCTYPE cannot hide inside a fragment either.
  EXPECT_FALSE(ParseXmlFragment(nullptr, QStringLiteral("<!DOCTYPE Event><Event/>")));
}

TEST(XmlHostile, HugeSingleElementIsRefused) {
  const QString filler(qsizetype{50} * 1024 * 1024, QLatin1Char('a'));
  ExpectRefusedDocument(QStringLiteral("<Event Desc=\"") + filler + QStringLiteral("\"/>"));
  ExpectRefusedDocument(QStringLiteral("<Event>") + filler + QStringLiteral("</Event>"));
}

TEST(XmlHostile, DeepNestingAndAttributeFloodsAreRefused) {
  ExpectRefusedDocument(QStringLiteral("<a>").repeated(100000));
  QString flood = QStringLiteral("<Event");
  for (int i = 0; i < 100000; ++i) {
    flood += QStringLiteral(" a%1=\"=\"").arg(i);
  }
  ExpectRefusedDocument(flood + QStringLiteral("/>"));
  // Quoted "=" and ">" do not count as attributes; markup that is not a tag is skipped.
  QString fine = QStringLiteral("<!-- <x a=b> --><Event Desc=\"") +
                 QStringLiteral("=>").repeated(5000) + QStringLiteral("\"/>");
  EXPECT_TRUE(ParseXmlDocument(nullptr, fine));
  EXPECT_TRUE(ParseXmlDocument(
      nullptr,
      QStringLiteral("<Event Desc=\"%1\" Note='%1'/>").arg(QStringLiteral("=").repeated(2000))));
}

TEST(XmlHostile, TheAttributeLimitIsExact) {
  auto element = [](int attributes) {
    QString text = QStringLiteral("<Event");
    for (int i = 0; i < attributes; ++i) {
      text += QStringLiteral(" a%1=\"%1\"").arg(i);
    }
    return text + QStringLiteral("/>");
  };
  EXPECT_TRUE(ParseXmlDocument(nullptr, element(1000)));
  ExpectRefusedDocument(element(1001));
  // A tag's text inside a comment, a CDATA section or a processing instruction is not a tag,
  // even after a ">" there.
  const QString flood = element(1001).chopped(2) + QStringLiteral(">");
  for (const QString& wrapped : {QStringLiteral("<!-- > ") + flood + QStringLiteral(" -->"),
                                 QStringLiteral("<![CDATA[ > ") + flood + QStringLiteral(" ]]>"),
                                 QStringLiteral("<?pi > ") + flood + QStringLiteral(" ?>")}) {
    EXPECT_TRUE(
        ParseXmlDocument(nullptr, QStringLiteral("<Event>") + wrapped + QStringLiteral("</Event>")))
        << wrapped.left(20).toStdString();
  }
}

TEST(XmlRead, AttributeTableReadsWhatEachLookupReads) {
  // Any attribute order, names missing or repeated in another namespace, entity and empty values.
  auto doc = ParseXmlFragment(nullptr, R"(<Event a="1" b="&amp;x" c="" d="°C"/>)"
                                       R"(<Event d="4" c="3" b="2" a="1" z="9"/>)"
                                       R"(<Event xmlns:p="urn:p" p:b="first" b="second" q="q"/>)"
                                       R"(<Event/>)");
  const std::array<const char*, 5> names = {"a", "b", "c", "d", "missing"};
  for (const XmlElement e : SelectNodes(doc, "//Event")) {
    const AttributeTable table(e, names);
    for (std::size_t i = 0; i < names.size(); ++i) {
      SCOPED_TRACE(names[i]);
      EXPECT_EQ(table.Text(i), GetAttributeText(e, names[i]));
      EXPECT_EQ(table.Has(i), HasAttribute(e, names[i]));
      if (const auto inPlace = table.InPlace(i)) {
        EXPECT_EQ(QString::fromUtf8(*inPlace), GetAttributeText(e, names[i]));
      }
    }
  }
  EXPECT_FALSE(AttributeTable(nullptr, names).Has(0));
  // A plain value, as nearly every value is, is read in place without a copy.
  const AttributeTable first(SelectNodes(doc, "//Event").front(), names);
  ASSERT_TRUE(first.InPlace(0).has_value());
  EXPECT_EQ(*first.InPlace(0), QByteArrayView("1"));
  ASSERT_TRUE(first.InPlace(2).has_value());
  EXPECT_TRUE(first.InPlace(2)->isEmpty());
  EXPECT_FALSE(first.InPlace(4).has_value());
}

TEST(XmlRead, AttributeReadersDefaultInsteadOfFailing) {
  auto doc = ParseXmlFragment(
      nullptr, R"(<Event a="abc" z="0" m="-1" t="true" T="TRUE" f="False" e="" s=" " n="2.5"/>)");
  const XmlElement e = SelectSingleNode(doc, "//Event");
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(GetAttributeText(nullptr, "a"), "");
  EXPECT_EQ(GetAttributeText(e, "missing"), "");
  EXPECT_TRUE(HasAttribute(e, "e"));
  EXPECT_FALSE(HasAttribute(e, "missing"));
  EXPECT_EQ(GetAttributeBoolean(e, "a"), std::nullopt);
  EXPECT_EQ(GetAttributeBoolean(e, "z"), false);
  EXPECT_EQ(GetAttributeBoolean(e, "m"), true);
  EXPECT_EQ(GetAttributeBoolean(e, "t"), true);
  EXPECT_EQ(GetAttributeBoolean(e, "T"), true);
  EXPECT_EQ(GetAttributeBoolean(e, "f"), false);
  EXPECT_EQ(GetAttributeBoolean(e, "n"), true);
  EXPECT_EQ(GetAttributeBoolean(e, "e"), std::nullopt);
  EXPECT_EQ(GetAttributeBoolean(e, "s"), std::nullopt);
  EXPECT_EQ(GetAttributeBoolean(e, "missing"), std::nullopt);
  EXPECT_EQ(GetAttributeBoolean(nullptr, "z"), std::nullopt);
}

TEST(XmlRead, NodeTextAndSerialisedForm) {
  auto doc = ParseXmlFragment(nullptr, R"(<Event id="3"><Desc>hot &amp; high</Desc></Event>)");
  const XmlElement e = SelectSingleNode(doc, "//Event");
  EXPECT_EQ(GetNodeText(e, "Desc"), "hot & high");
  EXPECT_EQ(GetNodeText(e, "@id"), "3");
  EXPECT_EQ(GetNodeText(e, "Missing"), "");
  EXPECT_EQ(GetNodeText(e, "count(Desc)"), "1");
  EXPECT_EQ(GetNodeText(e, "((("), "");
  EXPECT_EQ(GetNodeText(nullptr, "Desc"), "");
  EXPECT_EQ(NodeXml(e), R"(<Event id="3"><Desc>hot &amp; high</Desc></Event>)");
  EXPECT_EQ(NodeXml(nullptr), "");
  EXPECT_TRUE(SelectNodes(doc, "][").empty());
  EXPECT_EQ(SelectSingleNode(XmlDocument(), "//Event"), nullptr);
}
