#pragma once

// The operator prompts of a program without a window. Nobody is there to answer a question, so
// every box is written to the error stream, kept for the report, and answered with its default
// button (input boxes and file dialogs are cancelled); the only real question is the account and
// password of a privilege check, asked on the terminal (the password without echo) or taken from
// TELMON_ACCOUNT and a password file.

#include "platform/RecordingPrompter.h"

#include <QString>
#include <QStringList>

#include <cstdio>

namespace telmon::check {

inline constexpr char AccountVariable[] = "TELMON_ACCOUNT";

class ConsolePrompter final : public RecordingPrompter {
 public:
  // `passwordFile` empty: the password is read from the terminal. `err` (may be null) receives
  // every box; the credential questions always go to the error stream.
  explicit ConsolePrompter(QString passwordFile, std::FILE* err = stderr);

  PromptAnswer Ask(const PromptQuestion& question) override;
  // With a password file, once per run: a second request (a wrong password being retried) is
  // cancelled, so that an unattended run never loops on the same credentials. From the
  // terminal, every request is asked.
  std::optional<Credentials> AskCredentials(const QString& prompt, const QString& title) override;

  // The texts of the boxes and input boxes shown since the last call.
  QStringList TakeShown();

 private:
  std::optional<QString> ReadPassword();

  QString passwordFile_;
  std::FILE* err_;
  bool credentialsAsked_ = false;
};

// One line from the terminal, with echo off while it is read; empty when there is no terminal.
std::optional<QString> ReadTerminalLine(bool echo);

}  // namespace telmon::check
