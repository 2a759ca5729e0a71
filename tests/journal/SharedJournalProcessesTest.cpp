// The site's shared journal written by separate programs at once: two monitors (each a process
// with its own outbox, telmon_journal_writer) and a telmon-check run against the simulator
// journal into one PostgreSQL server while it is stopped and started again. Every entry of each
// outbox arrives once, in the outbox's order, nothing is left waiting, and the chain verifies.
// And a monitor whose outbox cannot grow goes on, says so once, and sends what the outbox holds.

#include "journal/OperationJournal.h"
#include "journal/SharedJournal.h"
#include "platform/SqlConnection.h"
#include "tests/e2e/E2eSupport.h"
#include "tests/journal/OwnPostgresServer.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "tests/util/QStringPrinter.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QSqlDatabase>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QUuid>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <algorithm>
#include <csignal>
#include <limits>
#include <map>
#include <vector>

namespace telmon {
namespace {

using e2e::WaitFor;
using test::OwnServer;

// Every wait of the test ends by this deadline, so that a fault fails it rather than hangs it.
constexpr int kDeadlineMs = 60000;
constexpr int kExitInterrupted = 130;  // telmon-check after Ctrl-C

// A program of the test, its output kept line by line as it comes.
class Child {
 public:
  Child() = default;
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (process_.state() != QProcess::NotRunning) {
      process_.kill();
      process_.waitForFinished(5000);
    }
  }

  void Start(const QString& program, const QStringList& args,
             const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
    process_.setProcessEnvironment(environment);
    process_.start(program, args);
  }
  QProcess& Process() { return process_; }

  void Tell(const QByteArray& line) {
    process_.write(line + '\n');
    process_.waitForBytesWritten(kDeadlineMs);
  }
  const QStringList& Lines() {
    out_ += process_.readAllStandardOutput();
    err_ += process_.readAllStandardError();
    for (qsizetype end = out_.indexOf('\n'); end >= 0; end = out_.indexOf('\n')) {
      lines_ << QString::fromUtf8(out_.left(end));
      out_.remove(0, end + 1);
    }
    return lines_;
  }
  bool Said(const QString& line) { return Lines().contains(line); }
  int CountStartingWith(const QString& start) {
    int count = 0;
    for (const QString& line : Lines()) {
      count += line.startsWith(start) ? 1 : 0;
    }
    return count;
  }
  // The exit code once it has ended by itself; -1 when it has not by the deadline or crashed.
  int Finished() {
    if (!WaitFor([this] { return process_.state() == QProcess::NotRunning; }, kDeadlineMs)) {
      return -1;
    }
    Lines();
    return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
  }
  std::string Transcript() {
    return (Lines().join(QLatin1Char('\n')) + QLatin1Char('\n') + QString::fromUtf8(err_))
        .toStdString();
  }

 private:
  QProcess process_;
  QByteArray out_;
  QByteArray err_;
  QStringList lines_;
};

// The entries of an outbox file and its identity on the shared journal, read beside the program
// that writes it (empty while the file or its table is not there yet).
struct Outbox {
  QString id;
  std::vector<JournalEntry> entries;
};

Outbox ReadOutbox(const QString& file) {
  Outbox outbox;
  if (!QFileInfo::exists(file)) {
    return outbox;
  }
  const QString name = QUuid::createUuid().toString();
  {
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    db.setDatabaseName(file);
    db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_BUSY_TIMEOUT=5000"));
    QString error;
    if (db.open() && OperationJournal::ReadEntries(db, 0, std::numeric_limits<int>::max(),
                                                   &outbox.entries, &error)) {
      outbox.id = OperationJournal::OutboxId(db);
    }
    db.close();
  }
  QSqlDatabase::removeDatabase(name);
  return outbox;
}

std::vector<SharedJournalRow> ServerRows(const QString& connection) {
  SqlConnection c(connection, OpenMode::ReadOnly);
  QString error;
  QSqlDatabase* db = c.Database(&error);
  return db == nullptr ? std::vector<SharedJournalRow>{} : SharedJournal::ReadAll(*db, &error);
}

std::map<QString, int> RowsPerComputer(const QString& connection) {
  std::map<QString, int> count;
  for (const SharedJournalRow& row : ServerRows(connection)) {
    ++count[row.computer];
  }
  return count;
}

struct ToolRun {
  int exitCode = -1;
  QString out;
  QString err;
};

ToolRun RunSiteTool(const QStringList& args) {
  QProcess process;
  process.start(QStringLiteral(TELMON_SITE_EXE), args);
  if (!process.waitForFinished(kDeadlineMs)) {
    return {};
  }
  return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
          QString::fromUtf8(process.readAllStandardError())};
}

// Checks that the server holds each entry of the outbox file once, in the outbox's order, field
// for field (nothing left waiting, nothing twice); returns the outbox's entries.
std::vector<JournalEntry> ExpectServerHoldsOutbox(const std::vector<SharedJournalRow>& rows,
                                                  const QString& file, const QString& computer) {
  SCOPED_TRACE(file.toStdString());
  const Outbox local = ReadOutbox(file);
  EXPECT_FALSE(local.id.isEmpty());
  std::vector<const SharedJournalRow*> sent;
  for (const SharedJournalRow& row : rows) {
    if (row.outbox == local.id) {
      sent.push_back(&row);
    }
  }
  std::vector<std::int64_t> sentNumbers;
  for (const SharedJournalRow* row : sent) {
    sentNumbers.push_back(row->localSeq);
  }
  std::vector<std::int64_t> localNumbers;
  for (std::size_t i = 0; i < local.entries.size(); ++i) {
    EXPECT_EQ(local.entries[i].id, static_cast<std::int64_t>(i + 1));
    localNumbers.push_back(local.entries[i].id);
  }
  if (sentNumbers != localNumbers) {
    const auto [s, l] = std::mismatch(sentNumbers.begin(), sentNumbers.end(), localNumbers.begin(),
                                      localNumbers.end());
    ADD_FAILURE() << "the server has " << sentNumbers.size() << " entries of the outbox's "
                  << localNumbers.size() << "; first difference at position "
                  << (s - sentNumbers.begin() + 1) << ": server "
                  << (s == sentNumbers.end() ? -1 : *s) << ", outbox "
                  << (l == localNumbers.end() ? -1 : *l);
    return local.entries;
  }
  for (std::size_t i = 0; i < sent.size(); ++i) {
    SCOPED_TRACE(i);
    const SharedJournalRow& row = *sent[i];
    const JournalEntry& entry = local.entries[i];
    EXPECT_EQ(row.computer, computer);
    EXPECT_EQ(row.operation, entry.operation);
    EXPECT_EQ(row.value, entry.value);
    EXPECT_EQ(row.command, entry.command);
    EXPECT_EQ(row.outcome, entry.outcome);
    EXPECT_EQ(row.previousValue, entry.previous);
    EXPECT_EQ(row.timeUtc, entry.timeUtc.toString(Qt::ISODateWithMs));
  }
  return local.entries;
}

// The values 1, 2, ... n the writer journals.
void ExpectCountingValues(const std::vector<JournalEntry>& entries) {
  for (std::size_t i = 0; i < entries.size(); ++i) {
    EXPECT_EQ(entries[i].value, QString::number(i + 1));
  }
}

// Switches a device to random values, then forces a channel again and again with a pause
// between, longer than the test needs: the run ends when the test interrupts it, and its release
// switches the device back, the last entry it journals before it ends.
QByteArray LongForcingSequence() {
  QByteArray yaml =
      "name: forcing while the journal server comes and goes\nsteps:\n"
      "  - random: {device: 4, on: true}\n";
  for (int i = 1; i <= 600; ++i) {
    yaml += "  - force: {channel: 1216, value: \"" + QByteArray::number(i) + "\"}\n";
    yaml += "  - wait: 0.1\n";
  }
  return yaml;
}

TEST(SharedJournalProcesses, TwoMonitorsAndACheckRunJournalThroughAServerRestart) {
  if (!test::PostgresqlAvailable()) {
    GTEST_SKIP() << "no PostgreSQL server for the tests (TELMON_TEST_PG unset)";
  }
  OwnServer server;
  ASSERT_TRUE(server.Started());
  const QString connection = server.Connection();
  const ToolRun init = RunSiteTool({QStringLiteral("init-journal"), connection});
  ASSERT_EQ(init.exitCode, 0) << init.err.toStdString();

  const int port = e2e::FreeLoopbackPort();
  e2e::DemoSite site;
  QString error;
  ASSERT_TRUE(site.Create(port, &error)) << error.toStdString();
  e2e::SimProcess sim;
  ASSERT_TRUE(sim.Start(site, port)) << sim.Output().toStdString();

  QTemporaryDir dir;
  const QString sequence = dir.filePath(QStringLiteral("forcing.yaml"));
  const QString password = dir.filePath(QStringLiteral("password"));
  for (const auto& [file, text] : {std::pair{sequence, LongForcingSequence()},
                                   std::pair{password, QByteArray("super-demo\n")}}) {
    QFile f(file);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(text);
  }

  // The two monitors, each journaling into an outbox of its own under its own name.
  struct Monitor {
    QString computer;
    QString outbox;
    Child process;
  };
  Monitor monitors[] = {
      {QStringLiteral("control-room"), dir.filePath(QStringLiteral("control-room.sqlite")), {}},
      {QStringLiteral("shelter"), dir.filePath(QStringLiteral("shelter.sqlite")), {}},
  };
  for (Monitor& m : monitors) {
    m.process.Start(QStringLiteral(TELMON_JOURNAL_WRITER),
                    {m.outbox, m.computer, connection, QStringLiteral("100")});
  }
  const auto tellMonitors = [&](const QByteArray& line) {
    for (Monitor& m : monitors) {
      m.process.Tell(line);
    }
  };
  const auto monitorsSaid = [&](const QString& line) {
    return WaitFor(
        [&] {
          for (Monitor& m : monitors) {
            if (!m.process.Said(line)) {
              return false;
            }
          }
          return true;
        },
        kDeadlineMs);
  };

  // The check run, as the operator starts it with the shared journal on its command line; its
  // outbox is the user's own journal file.
  const QString checkData = dir.filePath(QStringLiteral("check-data"));
  const QString checkOutbox = checkData + QStringLiteral("/telmon/journal.sqlite");
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("HALVO5_SYSTEM_FOLDER"), site.Folder());
  environment.insert(QStringLiteral("TELMON_ACCOUNT"), QStringLiteral("super"));
  environment.insert(QStringLiteral("XDG_DATA_HOME"), checkData);
  Child check;
  check.Start(QStringLiteral(TELMON_CHECK_PATH),
              {QStringLiteral("/DAHSID=1"), QStringLiteral("run"), sequence,
               QStringLiteral("--password-file"), password, QStringLiteral("--journal"), connection,
               QStringLiteral("--ios-host"), QStringLiteral("127.0.0.1")},
              environment);
  check.Process().closeWriteChannel();
  const auto checkEntries = [&] { return ReadOutbox(checkOutbox).entries.size(); };
  const auto checkJournals = [&](std::size_t more) {
    const std::size_t from = checkEntries();
    return WaitFor([&] { return checkEntries() >= from + more; }, kDeadlineMs);
  };

  // All three journal while the server is up.
  tellMonitors("write 40");
  ASSERT_TRUE(monitorsSaid(QStringLiteral("recorded 40")));
  const QString checkComputer = QSysInfo::machineHostName();
  std::map<QString, int> perComputer;
  ASSERT_TRUE(WaitFor(
      [&] {
        perComputer = RowsPerComputer(connection);
        return perComputer["control-room"] == 40 && perComputer["shelter"] == 40 &&
               perComputer[checkComputer] > 0;
      },
      kDeadlineMs))
      << perComputer["control-room"] << ' ' << perComputer["shelter"] << ' '
      << perComputer[checkComputer] << '\n'
      << check.Transcript();

  // While the server is down every program goes on journaling; the monitors each say once that
  // it cannot be reached.
  server.Stop();
  tellMonitors("write 40");
  ASSERT_TRUE(monitorsSaid(QStringLiteral("recorded 80")));
  const QString unreachable = QStringLiteral(
                                  "message 4 TELM-9041: The shared journal %1 cannot be "
                                  "reached (")
                                  .arg(MaskConnectionString(connection));
  for (Monitor& m : monitors) {
    EXPECT_TRUE(WaitFor([&] { return m.process.CountStartingWith(unreachable) > 0; }, kDeadlineMs))
        << m.process.Transcript();
  }
  ASSERT_TRUE(checkJournals(2)) << check.Transcript();

  // Back up: what waited goes, and what is journaled now goes after it.
  server.Resume();
  tellMonitors("write 40");
  tellMonitors("finish");
  ASSERT_TRUE(checkJournals(2)) << check.Transcript();
  ::kill(static_cast<pid_t>(check.Process().processId()), SIGINT);

  EXPECT_EQ(check.Finished(), kExitInterrupted) << check.Transcript();
  const QString reachedAgain = QStringLiteral(
                                   "message 1 TELM-9042: The shared journal %1 is "
                                   "reached again; the waiting entries have been sent.")
                                   .arg(MaskConnectionString(connection));
  for (Monitor& m : monitors) {
    SCOPED_TRACE(m.computer.toStdString());
    EXPECT_EQ(m.process.Finished(), 0) << m.process.Transcript();
    EXPECT_TRUE(m.process.Said(QStringLiteral("recorded 120")));
    EXPECT_TRUE(m.process.Said(QStringLiteral("all sent")));
    // One outage, reported once and its end once.
    EXPECT_EQ(m.process.CountStartingWith(unreachable), 1) << m.process.Transcript();
    EXPECT_EQ(m.process.CountStartingWith(reachedAgain), 1) << m.process.Transcript();
  }

  // Each outbox's entries are on the server once each, in the outbox's order, field for field:
  // nothing is left waiting anywhere and nothing came twice.
  const std::vector<SharedJournalRow> rows = ServerRows(connection);
  std::size_t sent = 0;
  for (Monitor& m : monitors) {
    const std::vector<JournalEntry> entries = ExpectServerHoldsOutbox(rows, m.outbox, m.computer);
    EXPECT_EQ(entries.size(), 120u);
    ExpectCountingValues(entries);
    sent += entries.size();
  }
  // The run journaled before, during and after the outage.
  const std::vector<JournalEntry> run = ExpectServerHoldsOutbox(rows, checkOutbox, checkComputer);
  const std::size_t checked = run.size();
  EXPECT_GE(checked, 6u);
  if (!run.empty()) {
    EXPECT_EQ(run.front().operation, "Random values on");
    EXPECT_EQ(run.back().operation, "Random values off");
  }
  EXPECT_EQ(rows.size(), sent + checked);  // nothing on the server from anywhere else
  // The monitors' entries are one chain between them, not one block after the other.
  std::map<QString, std::pair<std::int64_t, std::int64_t>> span;  // first and last number
  for (const SharedJournalRow& row : rows) {
    auto [it, added] = span.try_emplace(row.computer, row.seq, row.seq);
    it->second.second = row.seq;
  }
  EXPECT_LT(span["control-room"].first, span["shelter"].second);
  EXPECT_LT(span["shelter"].first, span["control-room"].second);

  const ToolRun verify =
      RunSiteTool({QStringLiteral("journal"), QStringLiteral("verify"), connection});
  EXPECT_EQ(verify.exitCode, 0) << verify.err.toStdString();
  EXPECT_EQ(verify.out, QStringLiteral("The journal's %1 entries verify\n").arg(rows.size()));
}

// A monitor whose outbox cannot grow (the operating system's file size limit, as on a full disk)
// goes on with its operations and reports once that they are not journaled; what the outbox
// holds still reaches the server, once each and in order.
TEST(SharedJournalProcesses, AnOutboxThatCannotGrowIsReportedOnceAndWhatItHoldsIsSent) {
  if (!test::PostgresqlAvailable()) {
    GTEST_SKIP() << "no PostgreSQL server for the tests (TELMON_TEST_PG unset)";
  }
  test::ScratchDatabase server(test::Backend::Postgresql);
  const ToolRun init = RunSiteTool({QStringLiteral("init-journal"), server.ConnectionString()});
  ASSERT_EQ(init.exitCode, 0) << init.err.toStdString();
  QTemporaryDir dir;
  const QString outbox = dir.filePath(QStringLiteral("full.sqlite"));
  Child writer;
  writer.Process().setChildProcessModifier([] {
    // Room for the file and a few entries; a write past it fails instead of ending the program.
    constexpr rlim_t kBytes = 128 * 1024;
    const rlimit limit{kBytes, kBytes};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ::signal(SIGXFSZ, SIG_IGN);
  });
  writer.Start(QStringLiteral(TELMON_JOURNAL_WRITER),
               {outbox, QStringLiteral("laptop"), server.ConnectionString()});
  writer.Tell("write 100");
  ASSERT_TRUE(WaitFor([&] { return writer.Said(QStringLiteral("recorded 100")); }, kDeadlineMs))
      << writer.Transcript();
  writer.Tell("finish");
  EXPECT_EQ(writer.Finished(), 0) << writer.Transcript();
  EXPECT_EQ(writer.CountStartingWith(QStringLiteral("message ")), 1) << writer.Transcript();
  EXPECT_EQ(writer.CountStartingWith(
                QStringLiteral("message 4 TELM-9002: The operator journal '%1' could not be "
                               "written (")
                    .arg(outbox)),
            1)
      << writer.Transcript();

  const std::vector<JournalEntry> kept =
      ExpectServerHoldsOutbox(ServerRows(server.ConnectionString()), outbox, "laptop");
  EXPECT_GT(kept.size(), 0u);
  EXPECT_LT(kept.size(), 100u);
  ExpectCountingValues(kept);
}

}  // namespace
}  // namespace telmon
