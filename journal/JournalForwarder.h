#pragma once

// Forwards the entries of a local journal file (the outbox) to the site's shared journal, in
// order, on a thread of its own with its own connections to the file and the server, so the
// window never waits for the server. While the server cannot be reached the entries wait in
// the file and go on the next try; where forwarding resumes is asked of the server (the highest
// local number it holds for this outbox), so nothing is sent twice or skipped, also across
// restarts and with two programs forwarding the same file.
//
// It also follows the shared journal for the window: after each pass (and every few seconds)
// the entries every computer added since the last look arrive by SharedEntries, and the other
// computers with edit mode on by EditModeElsewhereChanged. This computer's own edit mode is
// marked on the server while it is on.

#include "journal/IOperationJournal.h"
#include "journal/SharedJournal.h"

#include <QMutex>
#include <QObject>
#include <QString>

#include <atomic>
#include <cstdint>
#include <vector>

class QThread;

namespace telmon {

class JournalForwarderWorker;

class JournalForwarder final : public QObject {
  Q_OBJECT

 public:
  static constexpr int DefaultRetryMs = 10000;
  static constexpr int DefaultFollowMs = 3000;
  // The window is given this many of the latest entries at first, then all that follow.
  static constexpr std::int64_t FollowWindow = 10000;
  // An edit mode mark not renewed for this long belongs to a program that ended unannounced.
  static constexpr int EditModeStaleSeconds = 30;

  JournalForwarder(const QString& outboxFile, const QString& serverConnection,
                   int retryMs = DefaultRetryMs, QObject* parent = nullptr,
                   int followMs = DefaultFollowMs);
  ~JournalForwarder() override;
  JournalForwarder(const JournalForwarder&) = delete;
  JournalForwarder& operator=(const JournalForwarder&) = delete;

  // Asks for a forwarding pass; requests that come while one is pending are folded into it.
  // Callable from any thread.
  void Request();
  // One forwarding pass now, waiting for it (at most the server's connect timeout when it
  // cannot be reached); for a program about to end.
  void SendNow();

  // This computer's edit mode as the server should show it to the others: `account` empty
  // while edit mode is off. Callable from any thread.
  void SetEditMode(const QString& computer, const QString& account, const QString& since);

  // Entries in the outbox that the server does not have yet, as last counted.
  std::int64_t WaitingCount() const { return waiting_.load(); }
  const QString& ServerConnection() const { return server_; }

  // "Journal: all sent" or "Journal: N waiting", for the status bar.
  static QString WaitingText(std::int64_t count);

 Q_SIGNALS:
  // After each pass, with the number of entries still waiting.
  void WaitingChanged(qint64 count);
  // TELM-9041 when the server cannot be reached (once per outage), TELM-9042 when it can again.
  void Message(int msgType, const QString& text);
  // Entries of every computer that came to the server since the last look, oldest first (the
  // server's number in `id`); the server then holds this file's entries up to `forwardedUpTo`.
  void SharedEntries(const std::vector<telmon::JournalEntry>& entries, qint64 forwardedUpTo);
  // The other computers with edit mode on, when that changed.
  void EditModeElsewhereChanged(const std::vector<telmon::EditModeElsewhere>& others);

 private:
  QString server_;
  QThread* thread_;
  JournalForwarderWorker* worker_;
  std::atomic<bool> requested_{false};
  std::atomic<std::int64_t> waiting_{0};
  QMutex editMutex_;
  QString editComputer_;
  QString editAccount_;
  QString editSince_;

  friend class JournalForwarderWorker;
};

}  // namespace telmon
