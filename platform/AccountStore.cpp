#include "platform/AccountStore.h"

#include "platform/SqlConnection.h"

#include <sodium.h>
#include <QSqlError>
#include <QSqlQuery>

namespace telmon {

namespace {

// libsodium must be initialised once before use; it can fail only where the system has no
// source of randomness.
bool SodiumReady() { return sodium_init() >= 0; }

// The password's UTF-8 bytes, wiped when they go out of scope.
class SecretBytes {
 public:
  explicit SecretBytes(const QString& text) : bytes_(text.toUtf8()) {}
  ~SecretBytes() { sodium_memzero(bytes_.data(), static_cast<std::size_t>(bytes_.size())); }
  SecretBytes(const SecretBytes&) = delete;
  SecretBytes& operator=(const SecretBytes&) = delete;
  const char* data() const { return bytes_.constData(); }
  unsigned long long size() const { return static_cast<unsigned long long>(bytes_.size()); }

 private:
  QByteArray bytes_;
};

}  // namespace

PasswordHashCost PasswordHashCost::Interactive() {
  return {crypto_pwhash_OPSLIMIT_INTERACTIVE, crypto_pwhash_MEMLIMIT_INTERACTIVE};
}

PasswordHashCost PasswordHashCost::Minimum() {
  return {crypto_pwhash_OPSLIMIT_MIN, crypto_pwhash_MEMLIMIT_MIN};
}

QString HashPassword(const QString& password, const PasswordHashCost& cost, QString* error) {
  if (!SodiumReady()) {
    if (error != nullptr) {
      *error = QStringLiteral("the password hashing library could not start");
    }
    return {};
  }
  const SecretBytes secret(password);
  char hash[crypto_pwhash_STRBYTES] = {};
  if (crypto_pwhash_str_alg(hash, secret.data(), secret.size(), cost.opsLimit, cost.memLimit,
                            crypto_pwhash_ALG_ARGON2ID13) != 0) {
    if (error != nullptr) {
      *error = QStringLiteral("not enough memory to hash the password");
    }
    return {};
  }
  return QString::fromLatin1(hash);
}

bool VerifyPassword(const QString& hash, const QString& password) {
  if (!SodiumReady() || hash.isEmpty()) {
    return false;
  }
  const QByteArray encoded = hash.toLatin1();
  const SecretBytes secret(password);
  return crypto_pwhash_str_verify(encoded.constData(), secret.data(), secret.size()) == 0;
}

bool AccountStore::Execute(const QString& sql, const QVariantList& values, QString* error,
                           int* rowsAffected) {
  QSqlQuery query(db_);
  if (!query.prepare(sql)) {
    *error = SqlErrorText(query.lastError());
    return false;
  }
  for (int i = 0; i < values.size(); ++i) {
    query.bindValue(i, values[i]);
  }
  if (!query.exec()) {
    *error = SqlErrorText(query.lastError());
    return false;
  }
  if (rowsAffected != nullptr) {
    *rowsAffected = query.numRowsAffected();
  }
  return true;
}

bool AccountStore::AddAccount(const QString& name, int level, const QString& password,
                              const PasswordHashCost& cost, QString* error) {
  if (name.trimmed().isEmpty() || name != name.trimmed()) {
    *error = QStringLiteral("an account name must not be empty or begin or end with blanks");
    return false;
  }
  const std::optional<Account> existing = Find(name, error);
  if (existing || !error->isEmpty()) {
    if (existing) {
      *error = QStringLiteral("the account '%1' exists already").arg(existing->name);
    }
    return false;
  }
  const QString hash = HashPassword(password, cost, error);
  return !hash.isEmpty() &&
         Execute(QStringLiteral("INSERT INTO H5ACCOUNT (account, passwordhash, privilegelevel,"
                                " failedcount, lockeduntil) VALUES (?, ?, ?, 0, NULL)"),
                 {name, hash, level}, error);
}

bool AccountStore::SetPassword(const QString& name, const QString& password,
                               const PasswordHashCost& cost, QString* error) {
  const std::optional<Account> account = Find(name, error);
  if (!account) {
    if (error->isEmpty()) {
      *error = QStringLiteral("there is no account '%1'").arg(name);
    }
    return false;
  }
  const QString hash = HashPassword(password, cost, error);
  return !hash.isEmpty() &&
         Execute(QStringLiteral("UPDATE H5ACCOUNT SET passwordhash = ?, failedcount = 0,"
                                " lockeduntil = NULL WHERE account = ?"),
                 {hash, account->name}, error);
}

bool AccountStore::RemoveAccount(const QString& name, QString* error) {
  int removed = 0;
  if (!Execute(QStringLiteral("DELETE FROM H5ACCOUNT WHERE lower(account) = lower(?)"), {name},
               error, &removed)) {
    return false;
  }
  if (removed == 0) {
    *error = QStringLiteral("there is no account '%1'").arg(name);
    return false;
  }
  return true;
}

std::optional<Account> AccountStore::Find(const QString& name, QString* error) {
  error->clear();
  QSqlQuery query(db_);
  query.setForwardOnly(true);
  if (!query.prepare(
          QStringLiteral("SELECT account, passwordhash, privilegelevel, failedcount,"
                         " lockeduntil FROM H5ACCOUNT WHERE lower(account) = lower(?)"))) {
    *error = SqlErrorText(query.lastError());
    return std::nullopt;
  }
  query.bindValue(0, name);
  if (!query.exec()) {
    *error = SqlErrorText(query.lastError());
    return std::nullopt;
  }
  if (!query.next()) {
    return std::nullopt;
  }
  Account account;
  account.name = query.value(0).toString();
  account.passwordHash = query.value(1).toString();
  account.privilegeLevel = query.value(2).toInt();
  account.failedCount = query.value(3).toInt();
  account.lockedUntil = SqlToDateTime(query.value(4));
  return account;
}

bool AccountStore::SaveFailures(const QString& name, int failedCount, const QDateTime& lockedUntil,
                                QString* error) {
  const QVariant until =
      lockedUntil.isValid() ? QVariant(lockedUntil) : QVariant(QMetaType::fromType<QDateTime>());
  return Execute(QStringLiteral("UPDATE H5ACCOUNT SET failedcount = ?, lockeduntil = ?"
                                " WHERE account = ?"),
                 {failedCount, until, name}, error);
}

}  // namespace telmon
