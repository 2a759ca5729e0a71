// telmon-check's prompter: with nobody at the terminal every box gets its default button and is
// written to the error stream and kept for the step's report, inputs and file dialogs are
// cancelled, and the credentials come from TELMON_ACCOUNT and a password file, given once.

#include "check/ConsolePrompter.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdio>

using namespace telmon;
using namespace telmon::check;

namespace {

// What the prompter wrote to its error stream.
class Captured {
 public:
  Captured() : file_(std::tmpfile()) {}
  ~Captured() { std::fclose(file_); }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;
  std::FILE* File() { return file_; }
  std::string Text() {
    std::fflush(file_);
    std::rewind(file_);
    std::string text;
    for (int c = std::fgetc(file_); c != EOF; c = std::fgetc(file_)) {
      text.push_back(static_cast<char>(c));
    }
    return text;
  }

 private:
  std::FILE* file_;
};

QString PasswordFile(const QTemporaryDir& dir, const QByteArray& content) {
  const QString path = dir.filePath(QStringLiteral("password"));
  QFile file(path);
  EXPECT_TRUE(file.open(QIODevice::WriteOnly));
  file.write(content);
  return path;
}

}  // namespace

TEST(ConsolePrompter, EveryBoxGetsItsDefaultButtonAndIsWrittenAndKept) {
  struct Case {
    PromptButtons buttons;
    std::optional<PromptAnswer> defaultButton;
    PromptAnswer answer;
  };
  const Case cases[] = {
      {PromptButtons::Ok, std::nullopt, PromptAnswer::Ok},
      {PromptButtons::OkCancel, PromptAnswer::Cancel, PromptAnswer::Cancel},
      {PromptButtons::YesNo, std::nullopt, PromptAnswer::Yes},
      {PromptButtons::YesNoCancel, PromptAnswer::No, PromptAnswer::No},
  };
  Captured err;
  ConsolePrompter prompter(QString(), err.File());
  std::string written;
  QStringList kept;
  for (const Case& c : cases) {
    const QString text = QStringLiteral("box %1").arg(static_cast<int>(c.buttons));
    EXPECT_EQ(prompter.Ask({text, QStringLiteral("Telmon"), PromptIcon::Question, c.buttons,
                            c.defaultButton}),
              c.answer)
        << text.toStdString();
    written += text.toStdString() + "\n";
    kept << text;
  }
  EXPECT_EQ(err.Text(), written);

  // Input boxes and file dialogs are cancelled; an input box's question is kept too, the
  // credentials question is not (it is the program's own, not the operator's).
  EXPECT_EQ(prompter.InputText(QStringLiteral("Enter the period"), QStringLiteral("Telmon")),
            std::nullopt);
  EXPECT_EQ(prompter.SaveFileName({QStringLiteral("Save")}), std::nullopt);
  EXPECT_EQ(prompter.OpenFileName({QStringLiteral("Open")}), std::nullopt);
  qputenv(AccountVariable, "super");
  QTemporaryDir dir;
  ConsolePrompter withFile(PasswordFile(dir, "pw\n"), nullptr);
  withFile.Show(QStringLiteral("not written anywhere"), QStringLiteral("Telmon"),
                PromptIcon::Information);
  ASSERT_TRUE(withFile.AskCredentials(QStringLiteral("Sign in"), QStringLiteral("Telmon")));
  EXPECT_EQ(withFile.TakeShown(), QStringList{QStringLiteral("not written anywhere")});
  EXPECT_EQ(prompter.TakeShown(), kept + QStringList{QStringLiteral("Enter the period")});
  EXPECT_EQ(prompter.TakeShown(), QStringList());
}

TEST(ConsolePrompter, CredentialsComeFromTheAccountVariableAndThePasswordFileOnce) {
  struct Case {
    QByteArray file;
    QString password;
  };
  const Case cases[] = {
      {"super-demo\n", QStringLiteral("super-demo")},
      {"super-demo\r\nsecond line\n", QStringLiteral("super-demo")},
      {" spaced out ", QStringLiteral(" spaced out ")},
      {"", QString()},
  };
  qputenv(AccountVariable, "  super\n");
  for (const Case& c : cases) {
    QTemporaryDir dir;
    ConsolePrompter prompter(PasswordFile(dir, c.file), nullptr);
    const std::optional<Credentials> given =
        prompter.AskCredentials(QStringLiteral("Sign in"), QStringLiteral("Telmon"));
    ASSERT_TRUE(given) << c.file.toStdString();
    EXPECT_EQ(given->account, "super");
    EXPECT_EQ(given->password, c.password) << c.file.toStdString();
    // Asked again (the password was refused): the same file would be refused again.
    EXPECT_EQ(prompter.AskCredentials(QStringLiteral("Sign in"), QStringLiteral("Telmon")),
              std::nullopt);
  }
  ConsolePrompter missing(QStringLiteral("/nonexistent/password"), nullptr);
  EXPECT_EQ(missing.AskCredentials(QStringLiteral("Sign in"), QStringLiteral("Telmon")),
            std::nullopt);
  qunsetenv(AccountVariable);
}
