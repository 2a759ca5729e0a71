#include "iossim/CommandFramer.h"
#include "iossim/EventXml.h"

#include <gtest/gtest.h>
#include <QList>

namespace telmon::iossim {
namespace {

using Kind = FramedItem::Kind;

QList<QByteArray> Elements(const std::vector<FramedItem>& items) {
  QList<QByteArray> out;
  for (const FramedItem& i : items) {
    out << (i.kind == Kind::Element ? i.text : "JUNK:" + i.text);
  }
  return out;
}

TEST(CommandFramer, SplitsBackToBackCommandsWhateverTheReadBoundaries) {
  const QByteArray stream =
      "<Command action=\"SetLogLevel\" value=\"2\"/><Command action=\"GetIOSSettings\" />"
      "<Command action=\"SetDeviceIPAddress\" id=\"3\" value=\"a&gt;b\"/>";
  const QList<QByteArray> expected = {
      "<Command action=\"SetLogLevel\" value=\"2\"/>", "<Command action=\"GetIOSSettings\" />",
      "<Command action=\"SetDeviceIPAddress\" id=\"3\" value=\"a&gt;b\"/>"};
  // Every cut position, and byte by byte.
  for (qsizetype cut = 0; cut <= stream.size(); ++cut) {
    CommandFramer f;
    auto items = f.Feed(stream.left(cut));
    const auto rest = f.Feed(stream.mid(cut));
    items.insert(items.end(), rest.begin(), rest.end());
    EXPECT_EQ(Elements(items), expected) << "cut at " << cut;
    EXPECT_EQ(f.PendingBytes(), 0);
  }
  CommandFramer f;
  QList<QByteArray> got;
  for (const char c : stream) {
    got << Elements(f.Feed(QByteArray(1, c)));
  }
  EXPECT_EQ(got, expected);
}

TEST(CommandFramer, QuotedGreaterThanAndElementsWithContent) {
  CommandFramer f;
  EXPECT_TRUE(f.Feed("<Command action=\"x\" value=\"a>b\"").empty());
  EXPECT_EQ(Elements(f.Feed("/>")), QList<QByteArray>{"<Command action=\"x\" value=\"a>b\"/>"});
  EXPECT_TRUE(f.Feed("<Event eventtype=\"A\"><Limits Low=\"0\"/>").empty());
  EXPECT_EQ(Elements(f.Feed("</Event >\r\n")),
            QList<QByteArray>{"<Event eventtype=\"A\"><Limits Low=\"0\"/></Event >"});
}

TEST(CommandFramer, JunkIsReportedAndFramingResumesAtTheNextElement) {
  CommandFramer f;
  EXPECT_EQ(Elements(f.Feed("hello <Command action=\"A\"/>\n\x01\x02<Command action=\"B\"/>")),
            (QList<QByteArray>{"JUNK:hello ", "<Command action=\"A\"/>", "JUNK:\x01\x02",
                               "<Command action=\"B\"/>"}));
}

TEST(CommandFramer, GivesUpOnAnElementThatNeverEnds) {
  CommandFramer f(64);
  EXPECT_TRUE(f.Feed("<Command action=\"").empty());
  const auto items = f.Feed(QByteArray(100, 'x'));
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].kind, Kind::Junk);
  EXPECT_EQ(f.PendingBytes(), 0);
  EXPECT_EQ(Elements(f.Feed("<Command action=\"A\"/>")),
            QList<QByteArray>{"<Command action=\"A\"/>"});
}

TEST(EventXml, EscapesMarkupAndWritesLatin1) {
  const QByteArray e = EventXml("Message")
                           .Attr("Desc", QStringLiteral("a<b & \"c\" > 5\u00b0C \u20ac\ttab\x01"))
                           .Int("MsgType", 4)
                           .Finish();
  EXPECT_EQ(e, QByteArray("<Event eventtype=\"Message\" Desc=\"a&lt;b &amp; &quot;c&quot; &gt; "
                          "5\xb0"
                          "C ?&#9;tab\" MsgType=\"4\"/>"));
  // Line breaks survive a reader's attribute normalisation only as character references.
  EXPECT_EQ(EventXml("Message").Attr("Desc", QStringLiteral("one\r\ntwo\nthree")).Finish(),
            QByteArray("<Event eventtype=\"Message\" Desc=\"one&#13;&#10;two&#10;three\"/>"));
  const QByteArray withChild =
      EventXml("ChannelConfigUpdate").Int("ID", 7).Child("Limits", {{"Low", "0"}}).Finish();
  EXPECT_EQ(withChild,
            QByteArray("<Event eventtype=\"ChannelConfigUpdate\" ID=\"7\"><Limits Low=\"0\"/>"
                       "</Event>"));
}

}  // namespace
}  // namespace telmon::iossim
