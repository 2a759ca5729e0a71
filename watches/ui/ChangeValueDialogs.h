#pragma once

// The value dialogs as the change-value operation opens them: each is created for one use,
// shown modally over the main window and released when it closes.

#include "watches/ChangeValueServices.h"
#include "watches/IChangeValueDialogs.h"

class QWidget;

namespace telmon {

class ChangeValueDialogs final : public IChangeValueDialogs {
 public:
  ChangeValueDialogs(ChangeValueServices services, QWidget* owner);

  void ShowChangeChanValue(std::int32_t channelId) override;
  void ShowChangeChanValues(const QString& tabSeparatedIds) override;

 private:
  ChangeValueServices services_;
  QWidget* owner_;
};

}  // namespace telmon
