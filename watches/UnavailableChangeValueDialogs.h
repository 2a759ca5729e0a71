#pragma once

// The value dialogs as long as this build has none: each request says so plainly. The main
// window replaces this class by the real dialogs once they are built in.

#include "platform/Prompter.h"
#include "watches/IChangeValueDialogs.h"

namespace telmon {

class UnavailableChangeValueDialogs final : public IChangeValueDialogs {
 public:
  UnavailableChangeValueDialogs(Prompter& prompter, QString appTitle)
      : prompter_(prompter), appTitle_(std::move(appTitle)) {}

  void ShowChangeChanValue(std::int32_t channelId) override {
    prompter_.Show(QStringLiteral("Changing the value of channel %1 is not available in this "
                                  "build: the value dialogs are not part of it.")
                       .arg(channelId),
                   appTitle_, PromptIcon::Information);
  }
  void ShowChangeChanValues(const QString& tabSeparatedIds) override {
    const qsizetype count = tabSeparatedIds.count(QLatin1Char('\t'));
    prompter_.Show(QStringLiteral("Changing the values of %1 channels is not available in this "
                                  "build: the value dialogs are not part of it.")
                       .arg(count),
                   appTitle_, PromptIcon::Information);
  }

 private:
  Prompter& prompter_;
  QString appTitle_;
};

}  // namespace telmon
