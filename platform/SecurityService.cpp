#include "platform/SecurityService.h"

#include "platform/AccountStore.h"
#include "platform/Prompter.h"
#include "platform/SiteSchema.h"
#include "platform/SqlConnection.h"
#include "util/Clock.h"
#include "util/IRaiseMsg.h"

namespace telmon {

namespace {

const QString Prefix = QStringLiteral("Security: ");
constexpr int AccountsSchemaVersion = 2;

enum class SignIn { Accepted, Wrong, Locked, Failed };

}  // namespace

struct SecurityService::Impl {
  SecurityService* self = nullptr;
  Prompter* prompter = nullptr;
  const IClock* clock = nullptr;
  LockoutPolicy policy;
  std::unique_ptr<SqlConnection> config;
  QString programName;

  void Report(std::int32_t type, const QString& text) { Q_EMIT self->Message(type, Prefix + text); }
  QString Title() const {
    return programName.isEmpty() ? QStringLiteral("Privilege Check") : programName;
  }

  SignIn Verify(const Credentials& credentials, Account* account, QString* error);
  SignIn RecordFailure(const Account& account, AccountStore& store, QString* error);
  PrivilegeCheck Outcome(const Account& account, int level);
};

SignIn SecurityService::Impl::Verify(const Credentials& credentials, Account* account,
                                     QString* error) {
  QSqlDatabase* db = config->Database(error);
  if (db == nullptr) {
    return SignIn::Failed;
  }
  AccountStore store(*db);
  std::optional<Account> found = store.Find(credentials.account, error);
  if (!found) {
    if (!error->isEmpty()) {
      config->Reset();  // the next check opens a fresh connection
      return SignIn::Failed;
    }
    return SignIn::Wrong;
  }
  *account = *found;
  if (account->lockedUntil.isValid() && clock->Now() < account->lockedUntil) {
    return SignIn::Locked;
  }
  if (!VerifyPassword(account->passwordHash, credentials.password)) {
    return RecordFailure(*account, store, error);
  }
  if (account->failedCount != 0 || account->lockedUntil.isValid()) {
    if (!store.SaveFailures(account->name, 0, QDateTime(), error)) {
      return SignIn::Failed;
    }
  }
  return SignIn::Accepted;
}

SignIn SecurityService::Impl::RecordFailure(const Account& account, AccountStore& store,
                                            QString* error) {
  int failures = account.failedCount + 1;
  QDateTime lockedUntil;
  if (failures >= policy.maxFailures) {
    lockedUntil = clock->Now().addSecs(policy.lockSeconds);
    failures = 0;
    Report(MsgType::Error, QStringLiteral("account '%1' locked for %2 seconds after %3 wrong "
                                          "passwords")
                               .arg(account.name)
                               .arg(policy.lockSeconds)
                               .arg(policy.maxFailures));
  }
  if (!store.SaveFailures(account.name, failures, lockedUntil, error)) {
    return SignIn::Failed;
  }
  return SignIn::Wrong;
}

PrivilegeCheck SecurityService::Impl::Outcome(const Account& account, int level) {
  if (account.privilegeLevel >= level) {
    Report(MsgType::Progress,
           QStringLiteral("account '%1' granted privilege level %2").arg(account.name).arg(level));
    return {PrivilegeResult::Granted, account.name};
  }
  Report(MsgType::Progress, QStringLiteral("account '%1' has privilege level %2; level %3 is "
                                           "needed")
                                .arg(account.name)
                                .arg(account.privilegeLevel)
                                .arg(level));
  return {PrivilegeResult::Refused, account.name};
}

SecurityService::SecurityService(Prompter& prompter, const IClock& clock, QObject* parent)
    : QObject(parent), impl_(std::make_unique<Impl>()) {
  impl_->self = this;
  impl_->prompter = &prompter;
  impl_->clock = &clock;
}

SecurityService::~SecurityService() = default;

void SecurityService::SetLockoutPolicy(const LockoutPolicy& policy) { impl_->policy = policy; }

bool SecurityService::Initialise(const QString& siteId, const QString& /*languageId*/,
                                 const QString& configConnection,
                                 const QString& /*alarmsConnection*/, const QString& programName,
                                 const QString& /*ownerId*/) {
  impl_->config.reset();
  impl_->programName = programName;
  const QString shown = MaskConnectionString(configConnection);
  if (siteId.trimmed().isEmpty()) {
    impl_->Report(MsgType::Error, QStringLiteral("the site identifier is empty"));
    return false;
  }
  auto connection = std::make_unique<SqlConnection>(configConnection, OpenMode::ReadWrite);
  QString error;
  QSqlDatabase* db = connection->Database(&error);
  if (db == nullptr) {
    impl_->Report(MsgType::Error,
                  QStringLiteral("can't use the configuration database: %1").arg(error));
    return false;
  }
  const int version = SiteSchema::Version(*db, &error);
  if (version < AccountsSchemaVersion) {
    impl_->Report(MsgType::Error,
                  version < 0
                      ? QStringLiteral("can't read the accounts of %1: %2").arg(shown, error)
                      : QStringLiteral("the configuration database %1 has no account "
                                       "table (run 'telmon-site init')")
                            .arg(shown));
    return false;
  }
  impl_->config = std::move(connection);
  return true;
}

PrivilegeCheck SecurityService::CheckPrivilege(int level, bool interactive) {
  if (!impl_->config) {
    impl_->Report(MsgType::Error, QStringLiteral("the privilege service is not initialised"));
    return {};
  }
  if (!interactive) {
    // Nobody is signed in between checks, so only the operator can prove a privilege.
    impl_->Report(MsgType::Progress, QStringLiteral("privilege checks need the operator"));
    return {};
  }
  const QString prompt = QStringLiteral(
                             "Privilege level %1 is needed.\nEnter an account name "
                             "and its password.")
                             .arg(level);
  QString lastAccount;
  for (int attempt = 0; attempt < impl_->policy.attemptsPerCheck; ++attempt) {
    const std::optional<Credentials> credentials =
        impl_->prompter->AskCredentials(prompt, impl_->Title());
    if (!credentials) {
      return {PrivilegeResult::Cancelled, QString()};
    }
    lastAccount = credentials->account;
    Account account;
    QString error;
    switch (impl_->Verify(*credentials, &account, &error)) {
      case SignIn::Accepted:
        return impl_->Outcome(account, level);
      case SignIn::Locked:
        impl_->prompter->Show(
            QStringLiteral("The account '%1' is locked after repeated wrong passwords. Try "
                           "again in %2 seconds.")
                .arg(account.name)
                .arg(impl_->clock->Now().secsTo(account.lockedUntil)),
            impl_->Title(), PromptIcon::Exclamation);
        return {PrivilegeResult::Refused, account.name};
      case SignIn::Failed:
        impl_->Report(MsgType::Error, QStringLiteral("can't check the account: %1").arg(error));
        return {PrivilegeResult::Refused, credentials->account};
      case SignIn::Wrong:
        impl_->prompter->Show(QStringLiteral("The account name or the password is wrong."),
                              impl_->Title(), PromptIcon::Exclamation);
        break;
    }
  }
  return {PrivilegeResult::Refused, lastAccount};
}

}  // namespace telmon
