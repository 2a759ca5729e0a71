#include "util/UtilityXMLDOMFunctions.h"

#include <gtest/gtest.h>

#include <vector>

using namespace telmon;
using namespace telmon::xml;

namespace {
struct Collect : IRaiseMsg {
  std::vector<std::pair<std::int32_t, QString>> msgs;
  void RaiseMsg(std::int32_t t, const QString& s) override { msgs.emplace_back(t, s); }
};
}  // namespace

TEST(XmlFragment, TwoSiblingEventsShareOneWrapperRoot) {
  auto doc = ParseXmlFragment(nullptr, R"(<Event eventtype="A"/><Event eventtype="B"/>)");
  ASSERT_TRUE(doc);
  EXPECT_EQ(QString::fromUtf8(reinterpret_cast<const char*>(DocumentElement(doc)->name)),
            QString::fromLatin1(FragmentWrapperName));
  const auto events = SelectNodes(doc, "//Event");
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(GetAttributeText(events[1], "eventtype"), "B");
}

TEST(XmlFragment, DollarInsideTextIsKept) {
  auto doc = ParseXmlFragment(nullptr, R"(<Event Desc="cost $5"/>)");
  ASSERT_TRUE(doc);
  EXPECT_EQ(GetAttributeText(SelectSingleNode(doc, "//Event"), "Desc"), "cost $5");
}

TEST(XmlFragment, FailureReportsBothMessagesWithTruncatedText) {
  Collect sink;
  EXPECT_FALSE(ParseXmlFragment(&sink, "<Event eventtype=\"Message\" Desc=\"unterminated"));
  ASSERT_EQ(sink.msgs.size(), 2U);
  EXPECT_TRUE(sink.msgs[0].second.startsWith("XMLDOM-0001: Cannot parse XML document; <"));
  EXPECT_EQ(sink.msgs[1].second,
            "XMLDOM-0005: Cannot parse XML fragment; <Event eventtype=\"Message\" Desc=\"untermi...");
  EXPECT_EQ(sink.msgs[1].first, 4);
}
