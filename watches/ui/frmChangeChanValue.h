#pragma once

// "Change Channel Value": the one-channel value dialog, a thin window over
// ChangeChanValueModel.

#include "watches/ChangeChanValueModel.h"

#include <QDialog>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace telmon {

class frmChangeChanValue : public QDialog {
  Q_OBJECT

 public:
  explicit frmChangeChanValue(ChangeValueServices services, QWidget* parent = nullptr);

  void SetChannelID(std::int32_t channelId) { model_.SetChannelID(channelId); }
  ChangeChanValueModel& Model() { return model_; }

  QLineEdit* txtNewValue() const { return txtNewValue_; }
  QCheckBox* chkNullValue() const { return chkNullValue_; }
  QLineEdit* txtValueRange() const { return txtValueRange_; }
  QRadioButton* optRandomValues(int index) const { return index == 0 ? optFixed_ : optWave_; }
  QLineEdit* txtMin() const { return txtMin_; }
  QLineEdit* txtMax() const { return txtMax_; }
  QLineEdit* txtPeriod() const { return txtPeriod_; }
  QPushButton* cmdChange() const { return cmdChange_; }
  QPushButton* cmdCancel() const { return cmdCancel_; }

 private:
  void BuildControls();
  void Connect();
  void Refresh();
  void OnChange();

  ChangeChanValueModel model_;
  QLineEdit* txtNewValue_ = nullptr;
  QCheckBox* chkNullValue_ = nullptr;
  QLineEdit* txtValueRange_ = nullptr;
  QRadioButton* optFixed_ = nullptr;
  QRadioButton* optWave_ = nullptr;
  QLabel* lblMin_ = nullptr;
  QLabel* lblMax_ = nullptr;
  QLabel* lblPeriod_ = nullptr;
  QLineEdit* txtMin_ = nullptr;
  QLineEdit* txtMax_ = nullptr;
  QLineEdit* txtPeriod_ = nullptr;
  QPushButton* cmdChange_ = nullptr;
  QPushButton* cmdCancel_ = nullptr;
};

}  // namespace telmon
