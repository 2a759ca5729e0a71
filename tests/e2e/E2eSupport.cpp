#include "tests/e2e/E2eSupport.h"

#include "iossim/DemoSite.h"
#include "messages/MessageLogModel.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/KeyedListModel.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTcpServer>
#include <QThread>
#include <QUuid>

namespace telmon::e2e {

bool WaitFor(const std::function<bool()>& done, int timeoutMs) {
  QDeadlineTimer deadline(timeoutMs);
  while (!done()) {
    if (deadline.hasExpired()) {
      return done();
    }
    QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    QThread::msleep(5);
  }
  return true;
}

int FreeLoopbackPort() {
  QTcpServer probe;
  probe.listen(QHostAddress::LocalHost, 0);
  return probe.serverPort();
}

namespace {

// Runs `work` on a connection of its own to the SQLite file, removed afterwards.
template <typename Work>
auto WithDatabase(const QString& file, Work work) {
  const QString name = QUuid::createUuid().toString();
  auto result = [&] {
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    db.setDatabaseName(file);
    db.open();
    return work(db);
  }();
  QSqlDatabase::removeDatabase(name);
  return result;
}

}  // namespace

bool DemoSite::Create(int port, QString* error, const QString& realtimeConnection,
                      const iossim::DemoScale& scale) {
  if (!iossim::WriteDemoSite(dir_.path(), error, scale)) {
    return false;
  }
  // Each test gets its own port; and no device is faulty, so that a clean plant reports every
  // device polled.
  if (!Exec(QStringLiteral("UPDATE H5LOOKUP SET lookupvalue = '%1' WHERE lookupkey = "
                           "'IOS:TcpListenPortForMonitorConnections'")
                .arg(port)) ||
      !Exec(QStringLiteral("UPDATE H5IODEVICE SET faulty = 0"))) {
    *error = QStringLiteral("cannot prepare the demo database");
    return false;
  }
  if (!realtimeConnection.isEmpty()) {
    QFile ini(dir_.filePath(QStringLiteral("Halvo5.INI")));
    if (!ini.open(QIODevice::ReadOnly)) {
      return false;
    }
    QString text = QString::fromUtf8(ini.readAll());
    ini.close();
    text.replace(QStringLiteral("SqlConnectionString_Realtime = sqlite:dahs1-realtime.sqlite"),
                 QStringLiteral("SqlConnectionString_Realtime = ") + realtimeConnection);
    if (!ini.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
      return false;
    }
    ini.write(text.toUtf8());
  }
  return true;
}

QString DemoSite::ConfigDatabase() const { return dir_.filePath(QStringLiteral("dahs1.sqlite")); }

QVariant DemoSite::Scalar(const QString& sql) const {
  return WithDatabase(ConfigDatabase(), [&](QSqlDatabase& db) {
    QSqlQuery q(db);
    return q.exec(sql) && q.next() ? q.value(0) : QVariant();
  });
}

bool DemoSite::Exec(const QString& sql) const {
  return WithDatabase(ConfigDatabase(), [&](QSqlDatabase& db) {
    QSqlQuery q(db);
    return q.exec(sql);
  });
}

SimProcess::~SimProcess() { Kill(); }

bool SimProcess::Start(const DemoSite& site, int port, const QStringList& extraArgs) {
  log_.clear();
  process_.setProcessChannelMode(QProcess::MergedChannels);
  process_.start(QStringLiteral(TELMON_IOSSIM_PATH),
                 QStringList{QStringLiteral("--settings"), site.Folder(), QStringLiteral("--dahs"),
                             QStringLiteral("1"), QStringLiteral("--port"), QString::number(port)} +
                     extraArgs);
  return WaitFor(
             [this] {
               Output();
               return log_.contains("listening on") || process_.state() == QProcess::NotRunning;
             },
             20000) &&
         Running();
}

void SimProcess::Kill() {
  if (process_.state() != QProcess::NotRunning) {
    process_.kill();
    process_.waitForFinished(5000);
  }
}

bool Monitor::Start(const DemoSite& site) {
  qputenv("HALVO5_SYSTEM_FOLDER", site.Folder().toUtf8());
  CommandLine cl;
  cl.dahsId = 1;
  window =
      std::make_unique<frmMain>(cl, MainServices{prompter, clock, QStringLiteral("127.0.0.1")});
  return window->Startup(nullptr);
}

bool Monitor::WaitForFullRefresh(const DemoSite& site, int timeoutMs) {
  const int devices = site.Scalar("SELECT COUNT(*) FROM H5IODEVICE WHERE dahsid = 1").toInt();
  const int queues = site.Scalar("SELECT COUNT(*) FROM H5IOQUEUE WHERE dahsid = 1").toInt();
  const int blocks = site.Scalar("SELECT COUNT(*) FROM H5IOBLOCK WHERE dahsid = 1").toInt();
  const int channels = site.Scalar("SELECT COUNT(*) FROM H5IOCHANNEL WHERE dahsid = 1").toInt();
  return WaitFor(
      [&] {
        return window->DevicesModel()->RowCount() == devices &&
               window->QueuesModel()->RowCount() == queues &&
               window->BlocksModel()->RowCount() == blocks &&
               static_cast<int>(window->ChannelConfigs().Count()) == channels &&
               window->DevicesModel()->FindKey(QStringLiteral("1K")) != nullptr;
      },
      timeoutMs);
}

QStringList Monitor::Messages() const {
  QStringList texts;
  const MessageLogModel& log = window->MessageLog();
  for (int i = 0; i < log.rowCount(); ++i) {
    texts << log.Row(i).text;
  }
  return texts;
}

bool Monitor::HasMessage(const QString& startsWith) const {
  const QStringList texts = Messages();
  return std::any_of(texts.begin(), texts.end(),
                     [&](const QString& t) { return t.startsWith(startsWith); });
}

long ResidentKiB() {
  QFile status(QStringLiteral("/proc/self/status"));
  if (!status.open(QIODevice::ReadOnly)) {
    return 0;
  }
  for (const QByteArray& line : status.readAll().split('\n')) {
    if (line.startsWith("VmRSS:")) {
      return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
  }
  return 0;
}

}  // namespace telmon::e2e
