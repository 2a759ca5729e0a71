#pragma once

// A PostgreSQL server of a test's own (scripts/pg-test-server), so that stopping it in the middle
// of a test disturbs no other test. The including target defines TELMON_SOURCE_DIR.

#include <QDir>
#include <QProcess>
#include <QString>
#include <QUuid>

#include <gtest/gtest.h>

namespace telmon::test {

class OwnServer {
 public:
  OwnServer()
      : dir_(QDir::tempPath() + QStringLiteral("/telmon-pg-") +
             QUuid::createUuid().toString(QUuid::Id128).left(12)) {
    const QString out = Script(QStringLiteral("start"));
    const qsizetype at = out.indexOf(QStringLiteral("PGPORT="));
    port_ = at < 0 ? QString() : out.mid(at + 7).section(QLatin1Char(' '), 0, 0).trimmed();
  }
  ~OwnServer() {
    Script(QStringLiteral("stop"));
    QDir(dir_).removeRecursively();
  }
  OwnServer(const OwnServer&) = delete;
  OwnServer& operator=(const OwnServer&) = delete;

  bool Started() const { return !port_.isEmpty(); }
  QString Connection() const {
    return QStringLiteral("postgresql://telmon@127.0.0.1:%1/postgres?connect_timeout=1").arg(port_);
  }
  void Stop() { Script(QStringLiteral("stop")); }
  void Resume() { Script(QStringLiteral("resume")); }

 private:
  QString Script(const QString& command) const {
    QProcess process;
    process.start(QStringLiteral(TELMON_SOURCE_DIR "/scripts/pg-test-server"), {command, dir_});
    EXPECT_TRUE(process.waitForFinished(120000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    return QString::fromUtf8(process.readAllStandardOutput());
  }

  QString dir_;
  QString port_;
};

}  // namespace telmon::test
