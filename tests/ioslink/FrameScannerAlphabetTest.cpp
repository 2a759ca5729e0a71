// The frame scanner must agree with the plain framing rule on every kind of markup a server may
// send, not only on the pieces of the first comparison: any XML whitespace between attributes,
// comments holding "-" and "->", processing instructions, CDATA holding markup, and end tags
// that do not match. A wrong "cannot parse" would hold back every later event.

#include "ioslink/IosReceiveBuffer.h"
#include "tests/ioslink/PlainFraming.h"

#include <gtest/gtest.h>

#include <random>

namespace telmon {
namespace {

// Well-formed pieces first: the random streams draw mostly from these.
const std::vector<QByteArray> kWellFormed = {
    "<Event\teventtype=\"QUpdate\"\tQName=\"A\"/>",
    "<Event\r\n eventtype=\"QUpdate\"\n\tQName='B'\r\n/>",
    "<Event eventtype = \"BlockUpdate\" BlockID = '3' />",
    "<Event eventtype=\"Message\" Desc=\"a\tb\"></Event >",
    "<Event eventtype=\"DeviceUpdate\"><X\n/></Event\n>",
    "<!-- a - b -> c -->",
    "<!-- a -> <b> -->",
    "<!---->",
    "<!-- <Event/> -->",
    "<?pi a - > b ?>",
    "<?pi a<b &c </x> ? > ?>",
    "<?x?>",
    "<![CDATA[ -> <a> ]] ] > ]]>",
    "<![CDATA[ a]> <b> ]]>",
    "<![CDATA[]]>",
    "\t\r\n ",
};
const std::vector<QByteArray> kBroken = {
    "<a></A>",     "<a><b></a></b>",
    "</Event >",   "<Event a=\"1\" a=\"2\"/>",
    "<!-- -- -->", "<!-- --->",
    "<?xml?>",     "<![CDATA[",
    "<Event/ >",   "<Event\ta=1/>",
    "< Event/>",   "<Event a=\"<\"/>",
    "-->",         "?>",
    "<!-",         "<Event\x0b a=\"1\"/>",
};

TEST(FrameScannerAlphabet, AgreesWithThePlainRuleOnWhitespaceCommentsPisCdataAndBadTags) {
  std::mt19937 random(77031);
  std::uniform_int_distribution<std::size_t> good(0, kWellFormed.size() - 1);
  std::uniform_int_distribution<std::size_t> bad(0, kBroken.size() - 1);
  for (int round = 0; round < 4000; ++round) {
    QByteArray stream;
    const int count = 1 + static_cast<int>(random() % 10);
    for (int i = 0; i < count; ++i) {
      stream += random() % 5 == 0 ? kBroken[bad(random)] : kWellFormed[good(random)];
    }
    IosReceiveBuffer buffer;
    PlainFraming plain;
    qsizetype at = 0;
    while (at < stream.size()) {
      const QByteArray chunk = stream.mid(at, 1 + static_cast<qsizetype>(random() % 30));
      at += chunk.size();
      const QString got = Describe(buffer.Append(chunk));
      const QString want = Describe(plain.Append(chunk));
      ASSERT_EQ(got, want) << "stream " << stream.toStdString() << " at " << at;
      ASSERT_EQ(buffer.Pending(), plain.Pending()) << "stream " << stream.toStdString();
    }
  }
}

TEST(FrameScannerAlphabet, EveryWellFormedPieceAloneParsesInOneArrival) {
  for (const QByteArray& piece : kWellFormed) {
    IosReceiveBuffer buffer;
    EXPECT_TRUE(buffer.Append(piece)) << piece.toStdString();
    EXPECT_EQ(buffer.PendingSize(), 0) << piece.toStdString();
  }
}

}  // namespace
}  // namespace telmon
