#pragma once

// The operator journal on its own SQLite file, one per user (never in the site's databases):
// one append-only table in WAL mode, each entry committed before Record returns. Two monitors
// may journal into the same file at once. A file that another program holds locked costs the
// caller at most WindowWaitMs: the entry then waits in a queue that a writer of the journal's
// own (its own thread and connection) works through in order, and every later entry queues
// behind it until the queue is empty again (TELM-9050 when entries start to wait, TELM-9051
// when they have been written, TELM-9052 for those still waiting when the program ends). A
// journal that cannot be opened or written is reported once (TELM-9002) and the operation goes
// on without it. With a shared journal the file is the outbox: each entry is committed here
// first, then forwarded (JournalForwarder).

#include "journal/IOperationJournal.h"
#include "journal/SharedJournal.h"
#include "util/CsvFile.h"

#include <QObject>
#include <QSqlDatabase>
#include <QString>

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace telmon {

class IClock;
class IRaiseMsg;
class JournalForwarder;

class OperationJournal final : public QObject, public IOperationJournal {
  Q_OBJECT

 public:
  struct Context {
    std::int32_t dahs = 0;
    QString computer;  // the local computer's name when empty
  };

  OperationJournal(QString fileName, Context context, IRaiseMsg& sink, const IClock& clock,
                   QObject* parent = nullptr);
  ~OperationJournal() override;
  OperationJournal(const OperationJournal&) = delete;
  OperationJournal& operator=(const OperationJournal&) = delete;

  // The file is opened at the first entry or read, so a program that changes nothing never
  // creates it.
  void SetDahs(std::int32_t dahs) { context_.dahs = dahs; }

  // "<data folder>/telmon/journal.sqlite" in the user's data folder.
  static QString DefaultFileName();

  // Where a program journals, from its --journal option and the settings file's shared
  // journal: an option that is a postgresql:// connection string names the shared journal
  // (over the settings file's) and keeps the user's own file as the outbox; any other
  // non-empty option names the file.
  struct Place {
    QString file;
    QString server;
  };
  static Place Choose(const QString& option, const QString& settingsServer);

  // The longest the caller waits for a busy file before the entry is queued: well inside the
  // window's 100 ms clock.
  static constexpr int WindowWaitMs = 60;
  // How long Finish waits for the queue by default.
  static constexpr int FinishWaitMs = 3000;

  void Record(const JournalOperation& operation) override;
  // Entries recorded but not yet in the file because it was busy.
  std::size_t WaitingCount() const;
  // Waits up to `timeoutMs` for the queued entries to be written, then stops the writer and
  // reports (TELM-9052) and returns how many could not be written; for a program about to end.
  // A later entry starts the writer again.
  std::size_t Finish(int timeoutMs = FinishWaitMs);

  // TELM-9050, TELM-9051 and TELM-9052 for the file.
  static QString BusyText(const QString& fileName);
  static QString WrittenText(const QString& fileName, std::size_t count);
  static QString NotWrittenText(const QString& fileName, std::size_t count);
  // The account that enabled edit mode; empty while edit mode is off. With a shared journal the
  // other computers see it.
  void SetEditAccount(const QString& account);
  QString EditAccount() const { return editAccount_; }

  // Forwards every entry of the file, those from before included, to the site's shared journal
  // (a PostgreSQL connection string); empty turns forwarding off.
  // `retryMs` and `followMs` (0: the defaults) are how often it tries again after a failure
  // and looks for the other computers' entries.
  void SetSharedJournal(const QString& connection, int retryMs = 0, int followMs = 0);
  // The forwarder while the shared journal is on, else null.
  JournalForwarder* Forwarder() const { return forwarder_; }

  // Entries of an open journal file with numbers above `afterId`, oldest first, at most `limit`.
  static bool ReadEntries(const QSqlDatabase& db, std::int64_t afterId, int limit,
                          std::vector<JournalEntry>* entries, QString* error);
  // The file's own identity on the shared journal; empty for a file that has none yet.
  static QString OutboxId(const QSqlDatabase& db);

  // Every entry of the file, oldest first, then the entries waiting for it; empty (and
  // reported) when the file cannot be read.
  std::vector<JournalEntry> ReadAll();
  // What the journal window shows: with a shared journal, the latest entries of every computer
  // as the server has them, then this file's entries that have not reached it yet; without
  // one, the file's entries; in both cases followed by the entries waiting for the file.
  std::vector<JournalEntry> ReadForWindow();
  // The same, the file read ReadChunk entries at a time, telling `progress` (the file's entries
  // read of those it has) between chunks. When it says stop, what was read so far comes back
  // and `*stopped` is set.
  std::vector<JournalEntry> ReadForWindow(const ProgressFn& progress, bool* stopped);
  static constexpr int ReadChunk = 10000;
  // With a shared journal, the other computers that have edit mode on now.
  const std::vector<EditModeElsewhere>& OthersInEditMode() const { return elsewhere_; }
  // The most server entries kept for the window.
  static constexpr std::size_t SharedEntriesKept = 100000;
  const QString& FileName() const { return fileName_; }
  bool IsOpen() const { return open_; }

 Q_SIGNALS:
  // After an entry is stored, and also when it could not be: the operation was carried out.
  void Recorded(const telmon::JournalEntry& entry, const telmon::JournalOperation& operation);
  // New entries came from the shared journal.
  void SharedChanged();
  // The other computers with edit mode on changed.
  void EditModeElsewhereChanged();

 private:
  struct Queue;

  // Opens the window's connection; false when the file is busy (`busy`) or cannot be opened
  // (reported).
  bool Open(bool* busy = nullptr);
  // Queues the entry for the writer; true when it is the first to wait.
  bool Enqueue(const JournalEntry& entry);
  void WriterLoop();
  // Waits up to `timeoutMs` for the queue, stops the writer; the entries left, dropped.
  std::size_t StopWriter(int timeoutMs);
  // The writer's news, told on the journal's own thread: TELM-9051 once the queue is empty, a
  // failure (TELM-9002), and the forwarder asked to send what was written.
  void DeliverNotes();
  void PostNotes();
  // Runs `read` with the writer held between commits, then appends the waiting entries.
  template <typename Read>
  bool ReadWithWaiting(std::vector<JournalEntry>* entries, Read&& read);
  JournalEntry MakeEntry(const JournalOperation& operation) const;
  void ReportOnce(const QString& what, const QString& error);

  QString fileName_;
  Context context_;
  IRaiseMsg& sink_;
  const IClock& clock_;
  QString connectionName_;
  QString editAccount_;
  JournalForwarder* forwarder_ = nullptr;
  std::vector<JournalEntry> shared_;
  std::int64_t forwardedUpTo_ = 0;
  std::vector<EditModeElsewhere> elsewhere_;
  QString editSince_;
  bool open_ = false;
  bool reported_ = false;
  std::unique_ptr<Queue> queue_;
};

}  // namespace telmon
