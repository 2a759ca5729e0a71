#pragma once

// The privilege service: accounts with privilege levels in the configuration database,
// argon2id password hashes, and an interactive check that asks for account and password
// through the Prompter. Repeated failures for an account lock it out for a while.

#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>

namespace telmon {

class Prompter;
class IClock;

enum class PrivilegeResult { Granted, Refused, Cancelled };

struct PrivilegeCheck {
  PrivilegeResult result = PrivilegeResult::Refused;
  QString account;  // the account the operator named; empty when cancelled
  bool granted() const { return result == PrivilegeResult::Granted; }
};

class SecurityService : public QObject {
  Q_OBJECT

 public:
  SecurityService(Prompter& prompter, const IClock& clock, QObject* parent = nullptr);
  ~SecurityService() override;

  bool Initialise(const QString& siteId, const QString& languageId, const QString& configConnection,
                  const QString& alarmsConnection, const QString& programName,
                  const QString& ownerId);
  PrivilegeCheck CheckPrivilege(int level, bool interactive);

  // How many wrong passwords in a row lock an account, and for how long.
  struct LockoutPolicy {
    int maxFailures = 5;
    int lockSeconds = 60;
    int attemptsPerCheck = 3;
  };
  void SetLockoutPolicy(const LockoutPolicy& policy);

 Q_SIGNALS:
  void Message(std::int32_t msgType, const QString& text);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace telmon
