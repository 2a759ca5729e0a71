#pragma once

// telmon-site: creates and upgrades site databases, manages operator accounts and lookup
// values, and writes the demo site. The commands run against any connection string the
// program itself understands.

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <functional>
#include <optional>

namespace telmon::sitetool {

// Asks for a password without showing it; empty when none could be read.
using PasswordReader = std::function<std::optional<QString>(const QString& prompt)>;

// Runs one command line (without the program name); returns the process exit code:
// 0 done, 1 the command failed, 2 the command line was wrong.
int Run(const QStringList& arguments, QTextStream& out, QTextStream& err,
        const PasswordReader& readPassword);

QString Usage();

}  // namespace telmon::sitetool
