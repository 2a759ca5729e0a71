// The comma-separated files every export writes (RFC 4180): a field is quoted only when it
// holds a comma, a quote or a line break or begins or ends with a space, and a quote inside is
// doubled.

#include "util/CsvFile.h"

#include <QDir>
#include <QFile>
#include <QStandardItemModel>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <vector>

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

QByteArray Contents(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

// A long write a chunk at a time: the progress is told after each chunk; stopped after k chunks
// (or refused by the disk) it leaves the target as it was (no file, or the old one) and no
// temporary beside it, and says how far it came.
TEST(ChunkedWrite, StoppedOrFailedWritesLeaveTheTargetAsItWas) {
  struct Case {
    const char* name;
    const char* old;        // the target's contents before, or null for none
    std::size_t stopAfter;  // chunks; 0: never
    const char* folder;     // where the file goes
    ChunkedWrite::Status status;
    std::size_t done;
    const char* after;
  };
  const Case cases[] = {
      {"whole", nullptr, 0, "", ChunkedWrite::Status::Written, 25,
       "H\n0\n1\n2\n3\n4\n5\n6\n7\n8\n9\n10\n11\n12\n13\n14\n15\n16\n17\n18\n19\n20\n21\n22\n23\n24"
       "\n"},
      {"cancelled after 2 chunks, no file before", nullptr, 2, "", ChunkedWrite::Status::Cancelled,
       20, "(none)"},
      {"cancelled after 1 chunk, old file kept", "old\n", 1, "", ChunkedWrite::Status::Cancelled,
       10, "old\n"},
      {"cancelled after the last chunk", "old\n", 3, "", ChunkedWrite::Status::Cancelled, 25,
       "old\n"},
      {"no such folder", nullptr, 0, "no/such/", ChunkedWrite::Status::Failed, 0, "(none)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    QTemporaryDir dir;
    const QString path = dir.filePath(QString::fromLatin1(c.folder) + QStringLiteral("out.csv"));
    if (c.old != nullptr) {
      QString error;
      ASSERT_TRUE(WriteWholeFile(path, c.old, &error));
    }
    std::vector<std::size_t> told;
    const ChunkedWrite result = WriteFileInChunks(
        path, "H\n", 25,
        [](std::size_t i, QByteArray& out) { out += QByteArray::number(qulonglong(i)) + '\n'; },
        [&](std::size_t done, std::size_t total) {
          EXPECT_EQ(total, 25u);
          told.push_back(done);
          return told.size() != c.stopAfter;
        },
        10);
    EXPECT_EQ(result.status, c.status);
    EXPECT_EQ(result.done, c.done);
    EXPECT_EQ(result.total, 25u);
    EXPECT_EQ(result.error.isEmpty(), c.status != ChunkedWrite::Status::Failed);
    EXPECT_EQ(Contents(path), QByteArray(c.after));
    const std::vector<std::size_t> chunks{10, 20, 25};
    if (c.status != ChunkedWrite::Status::Failed) {
      EXPECT_EQ(told, std::vector<std::size_t>(chunks.begin(),
                                               chunks.begin() + static_cast<long>(told.size())));
    }
    // Nothing else is left in the folder (no temporary).
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files).size(),
              c.old != nullptr                            ? 1
              : c.status == ChunkedWrite::Status::Written ? 1
                                                          : 0);
  }
}

// A list that changes between the chunks of its export: each row present at the start is
// written once with the values it has when its chunk is made, wherever it moved; a row removed
// before its chunk is left out, rows added meanwhile are not written; a list rebuilt stops it.
TEST(ChunkedWrite, AListChangingDuringItsExportWritesEachRowOnce) {
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("list.csv"));
  QStandardItemModel model;
  model.setHorizontalHeaderLabels({QStringLiteral("ID"), QStringLiteral("Value")});
  for (int row = 0; row < 6; ++row) {
    model.appendRow(
        {new QStandardItem(QString::number(row)), new QStandardItem(QStringLiteral("v"))});
  }
  int chunk = 0;
  const ChunkedWrite result = WriteModelCsv(
      model, path,
      [&](std::size_t /*done*/, std::size_t total) {
        EXPECT_EQ(total, 6u);
        if (++chunk == 1) {
          model.insertRow(0, {new QStandardItem(QStringLiteral("new")), new QStandardItem()});
          model.removeRow(5);  // row "4" goes before it is written
          model.item(3, 1)->setText(QStringLiteral("changed"));  // row "2"
          model.sort(0, Qt::DescendingOrder);
          model.appendRow({new QStandardItem(QStringLiteral("later")), new QStandardItem()});
        }
        return true;
      },
      2);
  EXPECT_EQ(result.status, ChunkedWrite::Status::Written);
  EXPECT_EQ(Contents(path), QByteArray("ID,Value\r\n0,v\r\n1,v\r\n2,changed\r\n3,v\r\n5,v\r\n"));

  model.clear();
  model.setHorizontalHeaderLabels({QStringLiteral("ID")});
  for (int row = 0; row < 6; ++row) {
    model.appendRow(new QStandardItem(QString::number(row)));
  }
  const ChunkedWrite rebuilt = WriteModelCsv(
      model, path,
      [&](std::size_t, std::size_t) {
        model.setRowCount(0);
        return true;
      },
      2);
  EXPECT_EQ(rebuilt.status, ChunkedWrite::Status::Written) << "rows removed are left out";
  EXPECT_EQ(Contents(path), QByteArray("ID\r\n0\r\n1\r\n"));
  for (int row = 0; row < 6; ++row) {
    model.appendRow(new QStandardItem(QString::number(row)));
  }
  const ChunkedWrite reset = WriteModelCsv(
      model, path,
      [&](std::size_t, std::size_t) {
        model.clear();
        return true;
      },
      2);
  EXPECT_EQ(reset.status, ChunkedWrite::Status::Failed);
  EXPECT_EQ(reset.error, "the list was emptied or rebuilt while it was being exported");
  EXPECT_EQ(Contents(path), QByteArray("ID\r\n0\r\n1\r\n"));
}

}  // namespace
}  // namespace telmon
