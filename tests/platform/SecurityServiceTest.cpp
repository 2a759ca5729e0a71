#include "platform/AccountStore.h"
#include "platform/SecurityPrivilegeGate.h"
#include "platform/SecurityService.h"
#include "platform/testing/ScriptedPrompter.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "util/Clock.h"

namespace telmon::test {
namespace {

class Sink final : public IRaiseMsg {
 public:
  void RaiseMsg(std::int32_t type, const QString& text) override { log.Add(type, text); }
  MessageLog log;
};

class SecurityServiceTest : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    TELMON_REQUIRE_BACKEND(GetParam());
    db_ = std::make_unique<ScratchDatabase>(GetParam());
    db_->Init();
    AddAccount(QStringLiteral("Tech"), 250, QStringLiteral("s3cret pass"));
    AddAccount(QStringLiteral("viewer"), 100, QStringLiteral("view"));
  }

  void AddAccount(const QString& name, int level, const QString& password) {
    SqlConnection connection(db_->ConnectionString(), OpenMode::ReadWrite);
    QString error;
    QSqlDatabase* db = connection.Database(&error);
    ASSERT_NE(db, nullptr);
    AccountStore store(*db);
    ASSERT_TRUE(store.AddAccount(name, level, password, PasswordHashCost::Minimum(), &error))
        << error.toStdString();
  }

  std::unique_ptr<SecurityService> Service() {
    auto service = std::make_unique<SecurityService>(prompter_, clock_);
    QObject::connect(service.get(), &SecurityService::Message, service.get(),
                     [this](std::int32_t type, const QString& text) { log_.Add(type, text); });
    EXPECT_TRUE(service->Initialise(QStringLiteral("S"), QStringLiteral("EN"),
                                    db_->ConnectionString(), db_->ConnectionString(),
                                    QStringLiteral("Telmon"), QStringLiteral("1")))
        << log_.All().toStdString();
    return service;
  }

  void Answer(const QString& account, const QString& password) {
    prompter_.QueueCredentials(Credentials{account, password});
  }

  std::unique_ptr<ScratchDatabase> db_;
  ScriptedPrompter prompter_;
  ManualClock clock_;
  MessageLog log_;
};

TEST_P(SecurityServiceTest, GrantsAnAccountWithTheLevelAndRefusesALowerOne) {
  auto service = Service();
  Answer(QStringLiteral("tech"), QStringLiteral("s3cret pass"));  // names ignore case
  const PrivilegeCheck granted = service->CheckPrivilege(250, true);
  EXPECT_EQ(granted.result, PrivilegeResult::Granted);
  EXPECT_EQ(granted.account, QStringLiteral("Tech"));
  ASSERT_EQ(prompter_.Records().size(), 1u);
  EXPECT_EQ(prompter_.Records()[0].kind, ScriptedPrompter::Kind::Credentials);
  EXPECT_EQ(prompter_.Records()[0].title, QStringLiteral("Telmon"));
  EXPECT_TRUE(prompter_.Records()[0].text.contains(QStringLiteral("250")));

  Answer(QStringLiteral("viewer"), QStringLiteral("view"));
  const PrivilegeCheck refused = service->CheckPrivilege(250, true);
  EXPECT_EQ(refused.result, PrivilegeResult::Refused);
  EXPECT_EQ(refused.account, QStringLiteral("viewer"));
  EXPECT_FALSE(log_.All().contains(QStringLiteral("view\n")));
}

TEST_P(SecurityServiceTest, WrongPasswordsAskAgainThenLockTheAccountForAWhile) {
  auto service = Service();
  for (int i = 0; i < 3; ++i) {
    Answer(QStringLiteral("Tech"), QStringLiteral("wrong"));
  }
  const PrivilegeCheck first = service->CheckPrivilege(250, true);
  EXPECT_EQ(first.result, PrivilegeResult::Refused);
  EXPECT_EQ(first.account, QStringLiteral("Tech"));
  const auto questions = prompter_.Questions();
  ASSERT_EQ(questions.size(), 3u);
  EXPECT_EQ(questions[0].text, QStringLiteral("The account name or the password is wrong."));
  EXPECT_EQ(questions[0].icon, PromptIcon::Exclamation);

  // Two more wrong passwords make five: the right one is refused until the time is up.
  Answer(QStringLiteral("Tech"), QStringLiteral("wrong"));
  Answer(QStringLiteral("Tech"), QStringLiteral("wrong"));
  Answer(QStringLiteral("Tech"), QStringLiteral("s3cret pass"));
  EXPECT_EQ(service->CheckPrivilege(250, true).result, PrivilegeResult::Refused);
  EXPECT_TRUE(prompter_.Texts().last().contains(QStringLiteral("locked")))
      << prompter_.Texts().last().toStdString();
  EXPECT_TRUE(log_.All().contains(QStringLiteral("locked for 60 seconds")));

  // A fresh service (as the gate makes per check) sees the lock too.
  clock_.Advance(59'000);
  auto later = Service();
  Answer(QStringLiteral("Tech"), QStringLiteral("s3cret pass"));
  EXPECT_EQ(later->CheckPrivilege(250, true).result, PrivilegeResult::Refused);
  clock_.Advance(2'000);
  Answer(QStringLiteral("Tech"), QStringLiteral("s3cret pass"));
  EXPECT_EQ(later->CheckPrivilege(250, true).result, PrivilegeResult::Granted);
  EXPECT_FALSE(log_.All().contains(QStringLiteral("s3cret"))) << log_.All().toStdString();
}

TEST_P(SecurityServiceTest, AGoodSignInResetsTheFailureCountAndTheFifthFailureLocks) {
  auto service = Service();
  // Four wrong passwords (three in one check, one in the next), then the right one.
  for (int i = 0; i < 3; ++i) {
    Answer(QStringLiteral("Tech"), QStringLiteral("wrong"));
  }
  EXPECT_EQ(service->CheckPrivilege(250, true).result, PrivilegeResult::Refused);
  Answer(QStringLiteral("Tech"), QStringLiteral("wrong"));
  Answer(QStringLiteral("Tech"), QStringLiteral("s3cret pass"));
  EXPECT_EQ(service->CheckPrivilege(250, true).result, PrivilegeResult::Granted);
  // The count started again: one more wrong password is not the fifth.
  Answer(QStringLiteral("Tech"), QStringLiteral("wrong"));
  Answer(QStringLiteral("Tech"), QStringLiteral("s3cret pass"));
  EXPECT_EQ(service->CheckPrivilege(250, true).result, PrivilegeResult::Granted);
  EXPECT_FALSE(log_.All().contains(QStringLiteral("locked"))) << log_.All().toStdString();

  // Exactly four in a row still let the right password in; the fifth locks.
  for (int i = 0; i < 3; ++i) {
    Answer(QStringLiteral("Tech"), QStringLiteral("wrong"));
  }
  EXPECT_EQ(service->CheckPrivilege(250, true).result, PrivilegeResult::Refused);
  Answer(QStringLiteral("Tech"), QStringLiteral("wrong"));
  Answer(QStringLiteral("Tech"), QStringLiteral("wrong"));
  Answer(QStringLiteral("Tech"), QStringLiteral("s3cret pass"));
  EXPECT_EQ(service->CheckPrivilege(250, true).result, PrivilegeResult::Refused);
  EXPECT_TRUE(log_.All().contains(QStringLiteral("locked for 60 seconds")));
}

TEST_P(SecurityServiceTest, CancelAndUnknownAccounts) {
  auto service = Service();
  prompter_.QueueCredentials(std::nullopt);
  const PrivilegeCheck cancelled = service->CheckPrivilege(250, true);
  EXPECT_EQ(cancelled.result, PrivilegeResult::Cancelled);
  EXPECT_TRUE(cancelled.account.isEmpty());

  Answer(QStringLiteral("nobody"), QStringLiteral("x"));
  prompter_.QueueCredentials(std::nullopt);
  EXPECT_EQ(service->CheckPrivilege(250, true).result, PrivilegeResult::Cancelled);
  // Non-interactive checks never ask and never grant.
  const std::size_t asked = prompter_.Records().size();
  EXPECT_EQ(service->CheckPrivilege(0, false).result, PrivilegeResult::Refused);
  EXPECT_EQ(prompter_.Records().size(), asked);
  EXPECT_TRUE(log_.All().contains(QStringLiteral("privilege checks need the operator")));
}

INSTANTIATE_TEST_SUITE_P(Backends, SecurityServiceTest,
                         ::testing::Values(Backend::Sqlite, Backend::Postgresql), BackendName);

// A configuration database that is missing, or has none of the site's tables, is reported once
// (the latter with the way to make them) and no one is asked for a password.
TEST(SecurityPrivilegeGate, ForwardsMessagesAndIsEmptyWhenTheDatabaseCannotBeUsed) {
  QTemporaryDir dir;
  ScratchDatabase empty(Backend::Sqlite);
  empty.Exec(QStringLiteral("CREATE TABLE unrelated (x INTEGER)"));
  const struct {
    QString connection;
    QString said;
  } cases[] = {
      {QStringLiteral("sqlite:") + dir.filePath(QStringLiteral("none.db")),
       QStringLiteral("none.db")},
      {empty.ConnectionString(), QStringLiteral("has no account table (run 'telmon-site init')")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.said.toStdString());
    ScriptedPrompter prompter;
    ManualClock clock;
    Sink sink;
    SecurityPrivilegeGate gate(prompter, clock, sink,
                               {QStringLiteral("S"), QStringLiteral("EN"), c.connection, QString(),
                                QStringLiteral("Telmon"), QString()});
    EXPECT_FALSE(gate.CheckPrivilege(250).has_value());
    ASSERT_EQ(sink.log.entries.size(), 1u);
    EXPECT_EQ(sink.log.entries[0].first, 4);
    EXPECT_TRUE(sink.log.entries[0].second.contains(c.said))
        << sink.log.entries[0].second.toStdString();
    EXPECT_TRUE(prompter.Records().empty());
  }
}

TEST(SecurityPrivilegeGate, GrantsThroughAFreshServicePerCheck) {
  ScratchDatabase db(Backend::Sqlite);
  db.Init();
  {
    SqlConnection connection(db.ConnectionString(), OpenMode::ReadWrite);
    QString error;
    AccountStore store(*connection.Database(&error));
    ASSERT_TRUE(store.AddAccount(QStringLiteral("op"), 300, QStringLiteral("pw"),
                                 PasswordHashCost::Minimum(), &error));
    EXPECT_FALSE(store.AddAccount(QStringLiteral("OP"), 1, QStringLiteral("x"),
                                  PasswordHashCost::Minimum(), &error));
    EXPECT_TRUE(error.contains(QStringLiteral("exists"))) << error.toStdString();
  }
  ScriptedPrompter prompter;
  ManualClock clock;
  Sink sink;
  SecurityPrivilegeGate gate(prompter, clock, sink,
                             {QStringLiteral("S"), QStringLiteral("EN"), db.ConnectionString(),
                              db.ConnectionString(), QStringLiteral("Telmon"), QString()});
  prompter.QueueCredentials(Credentials{QStringLiteral("op"), QStringLiteral("pw")});
  const auto check = gate.CheckPrivilege(250);
  ASSERT_TRUE(check.has_value());
  EXPECT_TRUE(check->granted());
  EXPECT_TRUE(sink.log.All().contains(QStringLiteral("granted")));
}

// An account that is not there is no failure: what an earlier call left in the error goes.
TEST(AccountStoreFind, AMissingAccountIsNoErrorAndAFoundOneClearsAnOldError) {
  ScratchDatabase db(Backend::Sqlite);
  db.Init();
  SqlConnection connection(db.ConnectionString(), OpenMode::ReadWrite);
  QString error;
  AccountStore store(*connection.Database(&error));
  ASSERT_TRUE(store.AddAccount(QStringLiteral("op"), 300, QStringLiteral("pw"),
                               PasswordHashCost::Minimum(), &error));
  error = QStringLiteral("left over");
  EXPECT_FALSE(store.Find(QStringLiteral("nobody"), &error).has_value());
  EXPECT_TRUE(error.isEmpty()) << error.toStdString();
  error = QStringLiteral("left over");
  const auto found = store.Find(QStringLiteral("OP"), &error);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->name, QStringLiteral("op"));
  EXPECT_EQ(found->privilegeLevel, 300);
  EXPECT_TRUE(error.isEmpty()) << error.toStdString();
}

TEST(PasswordHash, IsArgon2idAndVerifiesOnlyTheSamePassword) {
  QString error;
  const QString hash =
      HashPassword(QStringLiteral("pässword"), PasswordHashCost::Minimum(), &error);
  ASSERT_FALSE(hash.isEmpty()) << error.toStdString();
  EXPECT_TRUE(hash.startsWith(QStringLiteral("$argon2id$")));
  EXPECT_TRUE(VerifyPassword(hash, QStringLiteral("pässword")));
  EXPECT_FALSE(VerifyPassword(hash, QStringLiteral("passwörd")));
  EXPECT_FALSE(VerifyPassword(QStringLiteral("not a hash"), QStringLiteral("x")));
}

}  // namespace
}  // namespace telmon::test
