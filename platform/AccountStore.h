#pragma once

// Operator accounts in the configuration database (table H5ACCOUNT): privilege level,
// argon2id password hash, and the failed-sign-in count and lock-out time that survive between
// privilege checks. Passwords are hashed here and never stored or reported in clear.

#include <QDateTime>
#include <QSqlDatabase>
#include <QString>

#include <cstddef>
#include <optional>

namespace telmon {

// The work an argon2id hash costs. Interactive is what accounts get; Minimum keeps tests and
// throw-away demo sites quick and is still verified by the same code.
struct PasswordHashCost {
  unsigned long long opsLimit;
  std::size_t memLimit;
  static PasswordHashCost Interactive();
  static PasswordHashCost Minimum();
};

// An encoded argon2id hash of the password; empty with `error` set when hashing failed.
QString HashPassword(const QString& password, const PasswordHashCost& cost, QString* error);
bool VerifyPassword(const QString& hash, const QString& password);

struct Account {
  QString name;
  QString passwordHash;
  int privilegeLevel = 0;
  int failedCount = 0;
  QDateTime lockedUntil;  // invalid = not locked
};

class AccountStore {
 public:
  explicit AccountStore(QSqlDatabase& db) : db_(db) {}

  // Account names are matched without regard to case, and must be unique that way.
  bool AddAccount(const QString& name, int level, const QString& password,
                  const PasswordHashCost& cost, QString* error);
  bool SetPassword(const QString& name, const QString& password, const PasswordHashCost& cost,
                   QString* error);
  bool RemoveAccount(const QString& name, QString* error);
  // Empty with an empty `error` when there is no such account; empty with `error` set when the
  // table could not be read.
  std::optional<Account> Find(const QString& name, QString* error);
  bool SaveFailures(const QString& name, int failedCount, const QDateTime& lockedUntil,
                    QString* error);

 private:
  bool Execute(const QString& sql, const QVariantList& values, QString* error,
               int* rowsAffected = nullptr);

  QSqlDatabase& db_;
};

}  // namespace telmon
