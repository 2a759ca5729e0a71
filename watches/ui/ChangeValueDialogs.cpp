#include "watches/ui/ChangeValueDialogs.h"

#include "watches/ui/frmChangeChanValue.h"
#include "watches/ui/frmChangeChanValues.h"

namespace telmon {

ChangeValueDialogs::ChangeValueDialogs(ChangeValueServices services, QWidget* owner)
    : services_(std::move(services)), owner_(owner) {}

void ChangeValueDialogs::ShowChangeChanValue(std::int32_t channelId) {
  frmChangeChanValue dialog(services_, owner_);
  dialog.SetChannelID(channelId);
  dialog.exec();
}

void ChangeValueDialogs::ShowChangeChanValues(const QString& tabSeparatedIds) {
  frmChangeChanValues dialog(services_, owner_);
  dialog.SetChannelIDList(tabSeparatedIds);
  dialog.exec();
}

}  // namespace telmon
