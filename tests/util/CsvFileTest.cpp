// The comma-separated files every export writes (RFC 4180): a field is quoted only when it
// holds a comma, a quote or a line break or begins or ends with a space, and a quote inside is
// doubled.

#include "util/CsvFile.h"

#include <QFile>
#include <QStandardItemModel>
#include <QTemporaryDir>

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

// A model's list: its column titles first, then every row, every column.
TEST(CsvWriter, AModelIsWrittenWithItsTitlesThenEveryRow) {
  QStandardItemModel model(2, 2);
  model.setHorizontalHeaderLabels({QStringLiteral("ID"), QStringLiteral("Name, full")});
  model.setItem(0, 0, new QStandardItem(QStringLiteral("1")));
  model.setItem(0, 1, new QStandardItem(QStringLiteral("NOx")));
  model.setItem(1, 0, new QStandardItem(QStringLiteral("2")));
  EXPECT_EQ(ModelToCsv(model), QByteArray("ID,\"Name, full\"\r\n1,NOx\r\n2,\r\n"));
}

// A file is written whole, replacing what was there, or not at all.
TEST(CsvWriter, AFileIsWrittenWholeOrLeftAlone) {
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("list.csv"));
  QString error;
  ASSERT_TRUE(WriteWholeFile(path, "a,b\r\n", &error)) << error.toStdString();
  ASSERT_TRUE(WriteWholeFile(path, "c\r\n", &error)) << error.toStdString();
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), QByteArray("c\r\n"));
  EXPECT_FALSE(
      WriteWholeFile(dir.filePath(QStringLiteral("no/such/folder/list.csv")), "x", &error));
  EXPECT_FALSE(error.isEmpty());
}

}  // namespace
}  // namespace telmon
