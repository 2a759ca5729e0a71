#pragma once

// telmon-check's face on a site session: the same session the window shows (settings, database
// interface with its connection tests, plant state with the device, queue and block managers,
// channel configuration records, value writer, device operations, privilege gate), with edit
// rights granted once per run and the session's messages collected. No window: the list models
// are only read.

#include "check/ConsolePrompter.h"
#include "journal/OperationJournal.h"
#include "platform/H5DBIL.h"
#include "session/IOSSelectedDahs.h"
#include "session/SiteSession.h"
#include "util/Clock.h"
#include "util/IRaiseMsg.h"
#include "views/DeviceOperations.h"
#include "views/IEditGate.h"
#include "views/KeyedListModel.h"
#include "watches/ChannelValueWriter.h"

#include <QElapsedTimer>
#include <QObject>
#include <QStringList>

#include <cstdio>
#include <memory>

namespace telmon::check {

inline constexpr char ProgramTitle[] = "telmon-check";

// A device's state as its "DeviceUpdate" events so far give it.
using DeviceState = DeviceRecord;

// Edit rights for a run: granted once by the privilege gate before anything is sent.
class GrantedEditGate final : public IEditGate {
 public:
  // `journal` (optional) is told the account once it is granted.
  GrantedEditGate(IPrivilegeGate& gate, OperationJournal* journal)
      : gate_(gate), journal_(journal) {}
  bool EditsAllowed() const override { return granted_; }
  bool AskWhetherUserWantsToEnableEditing() override;
  // The account the operator named, after an attempt.
  const QString& Account() const { return account_; }

 private:
  IPrivilegeGate& gate_;
  OperationJournal* journal_;
  bool granted_ = false;
  QString account_;
};

class CheckSession : public QObject, public IRaiseMsg {
  Q_OBJECT

 public:
  // `log` receives every message as it is raised; null keeps them for TakeMessages only.
  CheckSession(ConsolePrompter& prompter, const IClock& clock, std::FILE* log,
               QObject* parent = nullptr);
  ~CheckSession() override;

  // Settings, database and managers, then the connect; false with `error` set when a start-up
  // step fails. `iosHost` empty: the local computer.
  bool Start(std::int32_t dahsId, QString* error, const QString& iosHost = QString());
  // Runs the event loop until the I/O server has sent its full information (every kind seen,
  // then a quiet moment) or `timeoutMs` passes.
  bool WaitForFullInfo(int timeoutMs);
  bool Connected() const { return connected_; }

  void RaiseMsg(std::int32_t msgType, const QString& text) override;

  SiteSession& Session() { return *session_; }
  const IOSSelectedDahs& Settings() const { return *session_->Settings(); }
  H5DBIL& Dbil() { return *session_->Dbil(); }
  ChannelConfigInfoManager& Configs() { return session_->Configs(); }
  DeviceListviewManager& Devices() { return session_->Devices(); }
  KeyedListModel& DevicesModel() { return *session_->DevicesModel(); }
  KeyedListModel& QueuesModel() { return *session_->QueuesModel(); }
  KeyedListModel& BlocksModel() { return *session_->BlocksModel(); }
  ChannelValueWriter& Writer() { return *session_->ValueWriter(); }
  DeviceOperations& DeviceOps() { return *session_->DeviceOps(); }
  GrantedEditGate& EditGate() { return *editGate_; }
  // What the run changes is journaled here, as telmon journals the same operations.
  OperationJournal& Journal() { return session_->Journal(); }
  // Before Start: the journal file (empty: the user's own).
  void SetJournalFile(const QString& fileName) { journalFile_ = fileName; }
  ConsolePrompter& Prompts() { return prompter_; }
  // Null when the I/O server has not reported the device.
  const DeviceState* Device(std::int32_t id) const;
  // Connects again after the I/O server closed the link; true once connected.
  bool Reconnect(int timeoutMs);
  const IClock& Clock() const { return clock_; }

  // Messages raised since the last call, oldest first.
  QStringList TakeMessages();

 Q_SIGNALS:
  // The I/O server closed the connection (or it broke).
  void Disconnected();

 private:
  void OnLinkPanel(const QString& text);
  void NoteEvent() { lastEvent_.start(); }

  ConsolePrompter& prompter_;
  const IClock& clock_;
  std::FILE* log_;
  QString journalFile_;
  SiteSession* session_ = nullptr;       // child
  GrantedEditGate* editGate_ = nullptr;  // the session's
  bool connected_ = false;
  bool everConnected_ = false;
  QElapsedTimer lastEvent_;
  QStringList messages_;
};

// Runs the event loop until `done` holds or `timeoutMs` passes; returns `done()`.
bool RunUntil(const std::function<bool()>& done, int timeoutMs);

}  // namespace telmon::check
