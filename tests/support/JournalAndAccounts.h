#pragma once

// What the operation tests share: the journal's entries as one line each, and the site
// accounts a privilege check is made against.

#include "journal/IOperationJournal.h"
#include "platform/AccountStore.h"
#include "platform/SqlConnection.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace telmon::test {

// "operation|account|targets|value|command|outcome" per entry.
inline QStringList JournalLines(const std::vector<JournalEntry>& entries) {
  QStringList lines;
  for (const JournalEntry& e : entries) {
    lines << QStringList{e.operation, e.account, e.targets, e.value, e.command, e.outcome}.join(
        QLatin1Char('|'));
  }
  return lines;
}

// Adds each (name, level) account with the password "pw" to the site database.
inline void AddSiteAccounts(const QString& connectionString,
                            const std::vector<std::pair<QString, int>>& accounts) {
  SqlConnection connection(connectionString, OpenMode::ReadWrite);
  QString error;
  QSqlDatabase* db = connection.Database(&error);
  ASSERT_NE(db, nullptr) << error.toStdString();
  AccountStore store(*db);
  for (const auto& [name, level] : accounts) {
    ASSERT_TRUE(
        store.AddAccount(name, level, QStringLiteral("pw"), PasswordHashCost::Minimum(), &error))
        << error.toStdString();
  }
}

}  // namespace telmon::test
