// The on-disk copy of the message log switches files by size without losing or splitting a
// line, and keeps only the newest old files.

#include "messages/MessageFileLog.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace telmon {
namespace {

QByteArray Read(const QString& path) {
  QFile file(path);
  return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString Row(int n) { return QStringLiteral("TELM-0032: row %1").arg(n); }

TEST(MessageFileLogTest, SwitchesBySizeAndLosesNoLine) {
  const struct {
    const char* name;
    qint64 maxBytes;
    int kept;
    int rows;
  } cases[] = {
      {"all old files kept", 200, 100, 60},
      {"two old files kept", 200, 2, 60},
      {"no old file kept", 200, 0, 60},
      {"a line longer than the limit gets a file of its own", 10, 100, 5},
      {"no limit", 0, 5, 60},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("messages.log"));
    {
      MessageFileLog log;
      ASSERT_TRUE(log.Open(path));
      log.SetRotation({c.maxBytes, c.kept});
      for (int n = 1; n <= c.rows; ++n) {
        log.Append(QStringLiteral("1/2/2026 10:00:00 AM"), Row(n));
      }
    }
    // Oldest first: FILE.k ... FILE.1, FILE.
    QByteArray all;
    int files = 0;
    for (int n = c.kept; n >= 1; --n) {
      const QString old = path + QLatin1Char('.') + QString::number(n);
      if (QFile::exists(old)) {
        ++files;
        const QByteArray text = Read(old);
        EXPECT_TRUE(text.endsWith('\n'));
        EXPECT_TRUE(c.maxBytes == 10 || text.size() <= c.maxBytes) << old.toStdString();
        all += text;
      }
    }
    EXPECT_FALSE(QFile::exists(path + QLatin1Char('.') + QString::number(c.kept + 1)));
    const QByteArray current = Read(path);
    if (c.maxBytes > 10) {
      EXPECT_LE(current.size(), c.maxBytes) << "the switch did not happen";
    }
    if (c.maxBytes == 200 && c.kept == 2) {
      EXPECT_EQ(files, 2) << "the old files did not move on";
    }
    all += current;
    const QList<QByteArray> lines = all.split('\n');
    ASSERT_GE(lines.size(), 2);
    // The kept lines are the newest ones, in order, each whole.
    const int first = c.rows - static_cast<int>(lines.size() - 2);
    for (qsizetype i = 0; i + 1 < lines.size(); ++i) {
      EXPECT_EQ(lines[i], ("1/2/2026 10:00:00 AM\t" + Row(first + static_cast<int>(i))).toUtf8());
    }
    if (c.kept == 100 || c.maxBytes == 0) {
      EXPECT_EQ(first, 1) << "a line was lost";
    }
    if (c.maxBytes == 0) {
      EXPECT_EQ(files, 0);
    } else if (c.kept > 0) {
      EXPECT_GT(files, 0);
    }
  }
}

TEST(MessageFileLogTest, ReopeningAppendsAndTheLimitCountsWhatIsThere) {
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("m.log"));
  MessageFileLog log;
  log.SetRotation({100, 5});
  ASSERT_TRUE(log.Open(path));
  log.Append(QStringLiteral("t"), QString(60, QLatin1Char('a')));
  ASSERT_TRUE(log.Open(path));
  log.Append(QStringLiteral("t"), QStringLiteral("b"));
  EXPECT_EQ(Read(path), "t\t" + QByteArray(60, 'a') + "\nt\tb\n");
  log.Append(QStringLiteral("t"), QString(40, QLatin1Char('c')));
  EXPECT_EQ(Read(path + QStringLiteral(".1")), "t\t" + QByteArray(60, 'a') + "\nt\tb\n");
  EXPECT_EQ(Read(path), "t\t" + QByteArray(40, 'c') + "\n");
}

TEST(MessageFileLogTest, RotationSettingsFromText) {
  const struct {
    const char* text;
    qint64 maxBytes;
    int kept;
  } cases[] = {
      {"", 10 << 20, 5},
      {"1M", 1 << 20, 5},
      {"64K,2", 65536, 2},
      {"500,0", 500, 0},
      {"x,3", 10 << 20, 3},
      {"2M,-1", 2 << 20, 5},
      {" 3G , 9 ", qint64{3} << 30, 9},
  };
  for (const auto& c : cases) {
    const MessageFileLog::Rotation r = MessageFileLog::ParseRotation(QString::fromLatin1(c.text));
    EXPECT_EQ(r.maxBytes, c.maxBytes) << c.text;
    EXPECT_EQ(r.keptFiles, c.kept) << c.text;
  }
}

}  // namespace
}  // namespace telmon
