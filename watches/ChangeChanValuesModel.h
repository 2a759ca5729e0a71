#pragma once

// The several-channels value dialog without its window: one value written as a "WriteToChannel"
// record (caller TELM-0049) to each channel of a TAB-separated ID list. No direct command is
// sent from here, and "&H" text is read as a 16-bit pattern.

#include "watches/ChangeValueServices.h"

#include <QString>

namespace telmon {

class ChangeChanValuesModel {
 public:
  static constexpr char CallerCode[] = "TELM-0049";

  explicit ChangeChanValuesModel(ChangeValueServices services);

  // The IDs separated by TAB characters (the list begins with a TAB).
  void SetChannelIDList(const QString& tabSeparatedIds) { ids_ = tabSeparatedIds; }
  const QString& ChannelIDList() const { return ids_; }

  QString txtNewValue;
  bool chkNullValue = false;

  // "C&hange": true when the dialog is to close; false after a failure was reported
  // (TELM-0050), the records already written left written.
  bool Change();

 private:
  ChangeValueServices services_;
  QString ids_;
};

}  // namespace telmon
