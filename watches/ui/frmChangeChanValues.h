#pragma once

// "Change Channel Values": one value for several channels, a thin window over
// ChangeChanValuesModel.

#include "watches/ChangeChanValuesModel.h"

#include <QDialog>

class QCheckBox;
class QLineEdit;
class QPushButton;

namespace telmon {

class frmChangeChanValues : public QDialog {
  Q_OBJECT

 public:
  explicit frmChangeChanValues(ChangeValueServices services, QWidget* parent = nullptr);

  // The channel IDs, separated by TAB characters.
  void SetChannelIDList(const QString& tabSeparatedIds) {
    model_.SetChannelIDList(tabSeparatedIds);
  }

  QLineEdit* txtNewValue() const { return txtNewValue_; }
  QCheckBox* chkNullValue() const { return chkNullValue_; }
  QPushButton* cmdChange() const { return cmdChange_; }
  QPushButton* cmdCancel() const { return cmdCancel_; }

 private:
  void OnChange();

  ChangeChanValuesModel model_;
  QLineEdit* txtNewValue_ = nullptr;
  QCheckBox* chkNullValue_ = nullptr;
  QPushButton* cmdChange_ = nullptr;
  QPushButton* cmdCancel_ = nullptr;
};

}  // namespace telmon
