#include "watches/ui/frmChangeChanValue.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace telmon {

namespace {

QLineEdit* Box(QWidget* parent, const char* name) {
  auto* box = new QLineEdit(parent);
  box->setObjectName(QLatin1String(name));
  return box;
}

void SetText(QLineEdit* box, const QString& text) {
  if (box->text() != text) {
    const QSignalBlocker block(box);
    box->setText(text);
  }
}

}  // namespace

frmChangeChanValue::frmChangeChanValue(ChangeValueServices services, QWidget* parent)
    : QDialog(parent), model_(std::move(services)) {
  setWindowTitle(QStringLiteral("Change Channel Value"));
  setModal(true);
  BuildControls();
  Connect();
  Refresh();
}

void frmChangeChanValue::BuildControls() {
  auto* grid = new QGridLayout;
  txtNewValue_ = Box(this, "txtNewValue");
  chkNullValue_ = new QCheckBox(QStringLiteral("Null"), this);
  chkNullValue_->setObjectName(QStringLiteral("chkNullValue"));
  txtValueRange_ = Box(this, "txtValueRange");
  txtValueRange_->setReadOnly(true);
  grid->addWidget(new QLabel(QStringLiteral("New Value:"), this), 0, 0);
  grid->addWidget(txtNewValue_, 0, 1);
  grid->addWidget(chkNullValue_, 0, 2);
  grid->addWidget(new QLabel(QStringLiteral("Value Range:"), this), 1, 0);
  grid->addWidget(txtValueRange_, 1, 1, 1, 2);
  optFixed_ = new QRadioButton(QStringLiteral("Do not automatically change values"), this);
  optWave_ = new QRadioButton(
      QStringLiteral("Automatically change values using a \"triangle\" or \"sawtooth\" wave"),
      this);
  optFixed_->setObjectName(QStringLiteral("optRandomValues0"));
  optWave_->setObjectName(QStringLiteral("optRandomValues1"));
  grid->addWidget(optFixed_, 2, 0, 1, 3);
  grid->addWidget(optWave_, 3, 0, 1, 3);
  lblMin_ = new QLabel(QStringLiteral("Min Value:"), this);
  lblMax_ = new QLabel(QStringLiteral("Max Value:"), this);
  lblPeriod_ = new QLabel(QStringLiteral("Half Period (seconds):"), this);
  txtMin_ = Box(this, "txtMin");
  txtMax_ = Box(this, "txtMax");
  txtPeriod_ = Box(this, "txtPeriod");
  grid->addWidget(lblMin_, 4, 0);
  grid->addWidget(txtMin_, 4, 1);
  grid->addWidget(lblMax_, 5, 0);
  grid->addWidget(txtMax_, 5, 1);
  grid->addWidget(lblPeriod_, 6, 0);
  grid->addWidget(txtPeriod_, 6, 1);
  cmdChange_ = new QPushButton(QStringLiteral("C&hange"), this);
  cmdCancel_ = new QPushButton(QStringLiteral("&Cancel"), this);
  cmdChange_->setObjectName(QStringLiteral("cmdChange"));
  cmdCancel_->setObjectName(QStringLiteral("cmdCancel"));
  cmdChange_->setDefault(true);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(cmdChange_);
  buttons->addWidget(cmdCancel_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(grid);
  layout->addLayout(buttons);
}

void frmChangeChanValue::Connect() {
  connect(&model_, &ChangeChanValueModel::Changed, this, &frmChangeChanValue::Refresh);
  // Every change of a box's text, however it was made (typing, pasting, an accessibility or
  // automation tool), reaches the model; Refresh writes the model's texts back with the boxes'
  // signals blocked, so nothing echoes.
  connect(txtNewValue_, &QLineEdit::textChanged, &model_, &ChangeChanValueModel::SetNewValueText);
  connect(chkNullValue_, &QCheckBox::toggled, &model_, &ChangeChanValueModel::SetNullValue);
  connect(optFixed_, &QRadioButton::clicked, this,
          [this] { model_.SelectOption(ChangeChanValueModel::FixedOption); });
  connect(optWave_, &QRadioButton::clicked, this,
          [this] { model_.SelectOption(ChangeChanValueModel::WaveOption); });
  connect(txtMin_, &QLineEdit::textChanged, &model_, &ChangeChanValueModel::SetMinText);
  connect(txtMax_, &QLineEdit::textChanged, &model_, &ChangeChanValueModel::SetMaxText);
  connect(txtPeriod_, &QLineEdit::textChanged, &model_, &ChangeChanValueModel::SetPeriodText);
  connect(cmdChange_, &QPushButton::clicked, this, &frmChangeChanValue::OnChange);
  connect(cmdCancel_, &QPushButton::clicked, this, &QDialog::reject);
}

void frmChangeChanValue::Refresh() {
  SetText(txtNewValue_, model_.txtNewValue());
  txtNewValue_->setEnabled(model_.NewValueEnabled());
  {
    const QSignalBlocker block(chkNullValue_);
    chkNullValue_->setChecked(model_.chkNullValue());
  }
  SetText(txtValueRange_, model_.txtValueRange());
  (model_.optRandomValues() == ChangeChanValueModel::WaveOption ? optWave_ : optFixed_)
      ->setChecked(true);
  SetText(txtMin_, model_.txtMin());
  SetText(txtMax_, model_.txtMax());
  SetText(txtPeriod_, model_.txtPeriod());
  const bool wave = model_.WaveControlsEnabled();
  for (QWidget* w : std::initializer_list<QWidget*>{optFixed_, optWave_, lblMin_, lblMax_,
                                                    lblPeriod_, txtMin_, txtMax_, txtPeriod_}) {
    w->setEnabled(wave);
  }
}

void frmChangeChanValue::OnChange() {
  if (model_.Change()) {
    accept();
  }
}

}  // namespace telmon
