#include "platform/ui/CredentialsDialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace telmon {

CredentialsDialog::CredentialsDialog(const QString& prompt, const QString& title, QWidget* parent)
    : QDialog(parent), account_(new QLineEdit(this)), password_(new QLineEdit(this)) {
  setWindowTitle(title);
  account_->setObjectName(QStringLiteral("account"));
  password_->setObjectName(QStringLiteral("password"));
  password_->setEchoMode(QLineEdit::Password);

  auto* layout = new QVBoxLayout(this);
  auto* label = new QLabel(prompt, this);
  label->setTextFormat(Qt::PlainText);
  layout->addWidget(label);
  auto* form = new QFormLayout();
  form->addRow(QStringLiteral("&Account:"), account_);
  form->addRow(QStringLiteral("&Password:"), password_);
  layout->addLayout(form);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  layout->addWidget(buttons);
  QPushButton* ok = buttons->button(QDialogButtonBox::Ok);
  ok->setDefault(true);
  ok->setEnabled(false);
  connect(account_, &QLineEdit::textChanged, ok,
          [ok](const QString& text) { ok->setEnabled(!text.trimmed().isEmpty()); });
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  account_->setFocus();
}

QString CredentialsDialog::Account() const { return account_->text().trimmed(); }
QString CredentialsDialog::Password() const { return password_->text(); }
void CredentialsDialog::ClearPassword() { password_->clear(); }

}  // namespace telmon
