#pragma once

// The pieces every end-to-end test uses: a demo site in a temporary folder, the I/O server
// simulator as a real process on a free loopback port, and Telmon's main window (offscreen)
// started against both.

#include "app/frmMain.h"
#include "iossim/DemoSiteScale.h"
#include "platform/testing/ScriptedPrompter.h"
#include "util/Clock.h"

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace telmon::e2e {

// Runs the event loop until `done` holds or `timeoutMs` passes; returns `done()`.
bool WaitFor(const std::function<bool()>& done, int timeoutMs);

int FreeLoopbackPort();

// A demo site in a temporary folder; its lookup table names `port` as the monitor port.
class DemoSite {
 public:
  // `realtimeConnection` replaces DAHS 1's realtime database (for example a PostgreSQL one).
  // `scale` makes the plant bigger (iossim/DemoSiteScale.h).
  bool Create(int port, QString* error, const QString& realtimeConnection = QString(),
              const iossim::DemoScale& scale = {});
  QString Folder() const { return dir_.path(); }
  QString ConfigDatabase() const;
  // Runs one statement on DAHS 1's configuration database and returns the first value.
  QVariant Scalar(const QString& sql) const;
  bool Exec(const QString& sql) const;

 private:
  QTemporaryDir dir_;
};

class SimProcess {
 public:
  ~SimProcess();
  bool Start(const DemoSite& site, int port, const QStringList& extraArgs = {});
  void Kill();
  bool Running() const { return process_.state() == QProcess::Running; }
  QByteArray Output() { return log_ += process_.readAll(); }

 private:
  QProcess process_;
  QByteArray log_;
};

// Telmon's main window on DAHS 1 of the site, with scripted operator answers.
struct Monitor {
  ScriptedPrompter prompter;
  SystemClock clock;
  std::unique_ptr<frmMain> window;

  bool Start(const DemoSite& site);
  // True once every configured device, queue and block has its row and every channel its
  // configuration record.
  bool WaitForFullRefresh(const DemoSite& site, int timeoutMs = 20000);
  QStringList Messages() const;
  bool HasMessage(const QString& startsWith) const;
};

// What most end-to-end tests begin with: the demo site, the simulator on a free port and the
// monitor started against both.
class RunningSite : public ::testing::Test {
 protected:
  void StartAll(const QStringList& simArgs = {}, const QString& realtime = QString()) {
    port_ = FreeLoopbackPort();
    QString error;
    ASSERT_TRUE(site_.Create(port_, &error, realtime)) << error.toStdString();
    ASSERT_TRUE(sim_.Start(site_, port_, simArgs)) << sim_.Output().toStdString();
    ASSERT_TRUE(monitor_.Start(site_)) << monitor_.Messages().join('\n').toStdString();
  }
  // StartAll, then the first full refresh.
  void StartAndRefresh() {
    StartAll();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
  }
  frmMain& W() { return *monitor_.window; }

  int port_ = 0;
  DemoSite site_;
  SimProcess sim_;
  Monitor monitor_;
};

// Resident memory of this process, in KiB (0 where it cannot be read).
long ResidentKiB();

}  // namespace telmon::e2e
