#include "check/ConsolePrompter.h"

#include <QFile>

#include <termios.h>
#include <unistd.h>

#include <iostream>
#include <string>

namespace telmon::check {

ConsolePrompter::ConsolePrompter(QString passwordFile, std::FILE* err)
    : passwordFile_(std::move(passwordFile)), err_(err) {}

PromptAnswer ConsolePrompter::Ask(const PromptQuestion& question) {
  if (err_ != nullptr) {
    std::fprintf(err_, "%s\n", qPrintable(question.text));
  }
  return RecordingPrompter::Ask(question);
}

std::optional<Credentials> ConsolePrompter::AskCredentials(const QString& prompt,
                                                           const QString& title) {
  RecordingPrompter::AskCredentials(prompt, title);
  // A password from a file would only be refused again; one typed may have been mistyped.
  if (credentialsAsked_ && !passwordFile_.isEmpty()) {
    return std::nullopt;
  }
  credentialsAsked_ = true;
  Credentials credentials;
  credentials.account = qEnvironmentVariable(AccountVariable).trimmed();
  if (credentials.account.isEmpty()) {
    std::fprintf(stderr, "%s\nAccount: ", qPrintable(prompt));
    std::fflush(stderr);
    const std::optional<QString> account = ReadTerminalLine(true);
    if (!account || account->trimmed().isEmpty()) {
      return std::nullopt;
    }
    credentials.account = account->trimmed();
  }
  const std::optional<QString> password = ReadPassword();
  if (!password) {
    return std::nullopt;
  }
  credentials.password = *password;
  return credentials;
}

std::optional<QString> ConsolePrompter::ReadPassword() {
  if (!passwordFile_.isEmpty()) {
    QFile file(passwordFile_);
    if (!file.open(QIODevice::ReadOnly)) {
      std::fprintf(stderr, "telmon-check: cannot read the password file %s (%s)\n",
                   qPrintable(passwordFile_), qPrintable(file.errorString()));
      return std::nullopt;
    }
    // The first line; a trailing line end is not part of the password.
    QString text = QString::fromUtf8(file.readLine(4096));
    while (text.endsWith(QLatin1Char('\n')) || text.endsWith(QLatin1Char('\r'))) {
      text.chop(1);
    }
    return text;
  }
  std::fprintf(stderr, "Password: ");
  std::fflush(stderr);
  std::optional<QString> password = ReadTerminalLine(false);
  std::fprintf(stderr, "\n");
  return password;
}

QStringList ConsolePrompter::TakeShown() {
  QStringList shown;
  for (const Record& record : TakeRecords()) {
    if (record.kind == Kind::Ask || record.kind == Kind::Input) {
      shown.append(record.text);
    }
  }
  return shown;
}

std::optional<QString> ReadTerminalLine(bool echo) {
  termios saved{};
  const bool terminal = isatty(STDIN_FILENO) != 0 && tcgetattr(STDIN_FILENO, &saved) == 0;
  if (terminal && !echo) {
    termios quiet = saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
  }
  std::string line;
  const bool read = static_cast<bool>(std::getline(std::cin, line));
  if (terminal && !echo) {
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
  }
  if (!read) {
    return std::nullopt;
  }
  return QString::fromStdString(line);
}

}  // namespace telmon::check
