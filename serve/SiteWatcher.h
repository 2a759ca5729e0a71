#pragma once

// The Qt side of telmon-serve: one site session per [DAHS<n>] section of the site's settings,
// each with its own link to its I/O server, reconnecting on its own while the server is away.
// A timer copies what the sessions hold into a snapshot and publishes it for the HTTP threads,
// reads the realtime values of the channels the watch pages ask for, and the journal's latest
// entries. Nothing here is shown in a window and nothing is ever sent to change the plant: the
// sessions' edit rights are refused for good.

#include "serve/Login.h"
#include "serve/Snapshot.h"
#include "util/Clock.h"
#include "util/ColorRef.h"
#include "util/IRaiseMsg.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <vector>

namespace telmon {
class KeyedListModel;
class SqlConnection;
class Prompter;
class SiteSession;
}  // namespace telmon

namespace telmon::serve {

// The tone of a desktop page's colour.
std::string ToneOf(ColorRef color);
// A list page's rows with their texts and colours, as the desktop shows them.
Table CaptureTable(KeyedListModel& model);
// The DAHS numbers of the [DAHS<n>] sections of a settings file, ascending.
std::vector<std::int32_t> DahsSections(const QString& settingsFile);

struct WatcherOptions {
  QString iosHost;      // empty: the local computer
  QString journalFile;  // the journal whose latest entries are shown; empty: the user's own
  int publishMs = 250;
  int watchReadMs = 2000;
  int reconnectMs = 3000;
  int journalLines = 50;
  std::FILE* log = stderr;  // every message of the sessions; null: none
};

class SiteWatcher final : public QObject {
  Q_OBJECT

 public:
  SiteWatcher(SnapshotHub& hub, WatchRegistry& watches, WatcherOptions options,
              QObject* parent = nullptr);
  ~SiteWatcher() override;

  // A session for each DAHS; the settings file is the one the environment names.
  bool Start(const std::vector<std::int32_t>& dahsIds, QString* error);
  // Builds and publishes a snapshot now.
  void PublishNow();
  SiteSession* Session(std::int32_t dahsId) const;
  // Answers the sign-ins of `desk` with the privilege service of the first DAHS whose session
  // is assembled: granted for an account with privilege level `level` or above.
  void AnswerLogins(LoginDesk* desk, int level);
  bool Connected(std::int32_t dahsId) const;

 private:
  struct Watched;
  class Sink;

  void Assemble(Watched& w);
  void OnLinkPanel(Watched& w, const QString& text);
  void Tick();
  void Reconnect();
  void ReadWatches();
  void ReadJournal();
  void ReadAlarms();
  void AnswerPendingLogins();
  DahsSnapshot Capture(Watched& w) const;

  SnapshotHub& hub_;
  WatchRegistry& watches_;
  WatcherOptions options_;
  SystemClock clock_;
  std::unique_ptr<Prompter> prompter_;
  std::vector<std::unique_ptr<Watched>> watched_;
  std::vector<JournalLine> journal_;
  std::unique_ptr<SqlConnection> journalDb_;
  std::int64_t journalLastId_ = -1;
  QTimer publish_;
  QTimer reconnect_;
  QTimer watchRead_;
  QTimer logins_;
  LoginDesk* desk_ = nullptr;
  int loginLevel_ = 1;
  bool dirty_ = true;
};

}  // namespace telmon::serve
