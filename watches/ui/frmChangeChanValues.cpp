#include "watches/ui/frmChangeChanValues.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace telmon {

frmChangeChanValues::frmChangeChanValues(ChangeValueServices services, QWidget* parent)
    : QDialog(parent), model_(std::move(services)) {
  setWindowTitle(QStringLiteral("Change Channel Values"));
  setModal(true);
  txtNewValue_ = new QLineEdit(this);
  txtNewValue_->setObjectName(QStringLiteral("txtNewValue"));
  chkNullValue_ = new QCheckBox(QStringLiteral("Null"), this);
  chkNullValue_->setObjectName(QStringLiteral("chkNullValue"));
  cmdChange_ = new QPushButton(QStringLiteral("C&hange"), this);
  cmdChange_->setObjectName(QStringLiteral("cmdChange"));
  cmdChange_->setDefault(true);
  cmdCancel_ = new QPushButton(QStringLiteral("&Cancel"), this);
  cmdCancel_->setObjectName(QStringLiteral("cmdCancel"));
  auto* value = new QHBoxLayout;
  value->addWidget(new QLabel(QStringLiteral("New Value:"), this));
  value->addWidget(txtNewValue_);
  value->addWidget(chkNullValue_);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(cmdChange_);
  buttons->addWidget(cmdCancel_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(value);
  layout->addLayout(buttons);
  // The model follows every change of the box, however it was made.
  connect(txtNewValue_, &QLineEdit::textChanged, this,
          [this](const QString& text) { model_.txtNewValue = text; });
  connect(chkNullValue_, &QCheckBox::toggled, this, [this](bool checked) {
    model_.chkNullValue = checked;
    txtNewValue_->setEnabled(!checked);
  });
  connect(cmdChange_, &QPushButton::clicked, this, &frmChangeChanValues::OnChange);
  connect(cmdCancel_, &QPushButton::clicked, this, &QDialog::reject);
}

void frmChangeChanValues::OnChange() {
  if (model_.Change()) {
    accept();
  }
}

}  // namespace telmon
