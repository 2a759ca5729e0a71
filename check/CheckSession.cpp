#include "check/CheckSession.h"

#include "ioslink/IosConnection.h"
#include "journal/JournalForwarder.h"
#include "journal/OperationJournal.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

namespace telmon::check {

bool GrantedEditGate::AskWhetherUserWantsToEnableEditing() {
  if (granted_) {
    return true;
  }
  const std::optional<PrivilegeCheck> check = gate_.CheckPrivilege(EditPrivilege);
  if (check) {
    account_ = check->account;
    granted_ = check->granted();
  }
  if (granted_ && journal_ != nullptr) {
    journal_->SetEditAccount(account_);
  }
  return granted_;
}

bool RunUntil(const std::function<bool()>& done, int timeoutMs) {
  if (done()) {
    return true;
  }
  // A local loop that sleeps between looks: the condition is looked at every 10 ms and after
  // nothing else, so waiting costs no processor time.
  QEventLoop loop;
  QTimer look;
  const QDeadlineTimer deadline(timeoutMs);
  QObject::connect(&look, &QTimer::timeout, &loop, [&] {
    if (done() || deadline.hasExpired()) {
      loop.quit();
    }
  });
  look.start(10);
  loop.exec();
  return done();
}

CheckSession::CheckSession(ConsolePrompter& prompter, const IClock& clock, std::FILE* log,
                           QObject* parent)
    : QObject(parent), prompter_(prompter), clock_(clock), log_(log) {}

CheckSession::~CheckSession() {
  if (session_ != nullptr) {
    session_->Teardown();
    // A run is short: its entries go to the shared journal before the program ends (what
    // cannot go waits in the journaled for the next program that forwards it).
    if (JournalForwarder* forwarder = session_->Journal().Forwarder()) {
      forwarder->SendNow();
    }
  }
}

bool CheckSession::Start(std::int32_t dahsId, QString* error, const QString& iosHost) {
  session_ = new SiteSession(
      {*this, prompter_, clock_, QString::fromLatin1(ProgramTitle), journalFile_, iosHost}, this);
  session_->SetFaceHooks({{}, {}, [this] { NoteEvent(); }});
  connect(session_, &SiteSession::LinkPanelChanged, this, &CheckSession::OnLinkPanel);
  const bool started = session_->Assemble(
      dahsId, QString::number(QCoreApplication::applicationPid()),
      [this](IPrivilegeGate& gate) {
        auto granted = std::make_unique<GrantedEditGate>(gate, &session_->Journal());
        editGate_ = granted.get();
        return granted;
      },
      error);
  return started;
}

bool CheckSession::WaitForFullInfo(int timeoutMs) {
  const auto filled = [](KeyedListModel& m) {
    return m.RowCount() > 0 && m.FindKey(m.Text(m.RowAt(0)) + QLatin1Char('K')) != nullptr;
  };
  // The I/O server sends no end marker: the information is complete once every kind has
  // arrived and nothing more came for a moment.
  bool refused = false;
  IosConnection* link = session_->Link();
  const bool full = RunUntil(
      [&] {
        // A refused or failed connect leaves the socket closed without ever connecting.
        refused = !connected_ && link->SocketState() == 0;
        return refused || (connected_ && filled(DevicesModel()) && filled(QueuesModel()) &&
                           filled(BlocksModel()) && Configs().Count() > 0 && lastEvent_.isValid() &&
                           lastEvent_.elapsed() > 700);
      },
      timeoutMs);
  return full && !refused;
}

void CheckSession::RaiseMsg(std::int32_t msgType, const QString& text) {
  messages_.append(text);
  if (log_ != nullptr) {
    std::fprintf(log_, "[%d] %s\n", msgType, qPrintable(text));
  }
}

const DeviceState* CheckSession::Device(std::int32_t id) const {
  return session_ == nullptr ? nullptr : session_->Plant().Device(id);
}

bool CheckSession::Reconnect(int timeoutMs) {
  IosConnection* link = session_ == nullptr ? nullptr : session_->Link();
  if (link == nullptr) {
    return false;
  }
  if (!connected_) {
    link->ConnectToIOS();
  }
  return RunUntil([&] { return connected_ || link->SocketState() == 0; }, timeoutMs) && connected_;
}

void CheckSession::OnLinkPanel(const QString& text) {
  if (text == QLatin1String("Connected")) {
    connected_ = true;
    everConnected_ = true;
  } else if (text == QLatin1String("Closed") && connected_) {
    connected_ = false;
    Q_EMIT Disconnected();
  }
}

QStringList CheckSession::TakeMessages() {
  QStringList taken;
  taken.swap(messages_);
  return taken;
}

}  // namespace telmon::check
