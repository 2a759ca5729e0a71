// The comma-separated files every export writes (RFC 4180): a field is quoted only when it
// holds a comma, a quote or a line break or begins or ends with a space, and a quote inside is
// doubled.

#include "util/CsvFile.h"

#include <gtest/gtest.h>

namespace telmon {
namespace {

TEST(CsvWriter, QuotesOnlyWhatNeedsItAndEndsEveryRecordWithCrLf) {
  CsvWriter writer;
  writer.AddRecord({QStringLiteral("plain"), QString(), QStringLiteral("a,b"),
                    QStringLiteral("say \"hi\""), QStringLiteral("two\r\nlines"),
                    QStringLiteral("line\nfeed"), QStringLiteral("caf\u00e9 ;\t"),
                    QStringLiteral(" lead"), QStringLiteral("trail "), QStringLiteral("in side")});
  writer.AddRecord({QStringLiteral("\"")});
  writer.AddRecord({});
  EXPECT_EQ(writer.Bytes(),
            QByteArray("plain,,\"a,b\",\"say \"\"hi\"\"\",\"two\r\nlines\","
                       "\"line\nfeed\",caf\xc3\xa9 ;\t,\" lead\",\"trail \",in side\r\n"
                       "\"\"\"\"\r\n"
                       "\r\n"));
}

}  // namespace
}  // namespace telmon
