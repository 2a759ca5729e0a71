#include "app/WriteProgress.h"

#include <QLocale>
#include <QProgressDialog>

namespace telmon {

WriteProgressDialog::WriteProgressDialog(QWidget* owner) : owner_(owner) {}

WriteProgressDialog::~WriteProgressDialog() { delete dialog_; }

QProgressDialog* WriteProgressDialog::Dialog() const { return dialog_; }

QString WriteProgressDialog::LabelText(std::size_t done, std::size_t total) {
  const QLocale locale;
  return QStringLiteral("Writing records: %1 of %2")
      .arg(locale.toString(static_cast<qulonglong>(done)),
           locale.toString(static_cast<qulonglong>(total)));
}

void WriteProgressDialog::Begin(std::size_t total, std::function<void()> cancel) {
  delete dialog_;
  total_ = total;
  dialog_ = new QProgressDialog(LabelText(0, total), QStringLiteral("&Cancel"), 0,
                                static_cast<int>(total), owner_);
  dialog_->setObjectName(QStringLiteral("dlgWriteProgress"));
  dialog_->setWindowTitle(QStringLiteral("Telmon"));
  dialog_->setWindowModality(Qt::WindowModal);
  dialog_->setMinimumDuration(500);
  dialog_->setAutoClose(false);
  dialog_->setAutoReset(false);
  QObject::connect(dialog_, &QProgressDialog::canceled, dialog_,
                   [cancel = std::move(cancel)] { cancel(); });
  dialog_->setValue(0);
}

void WriteProgressDialog::Advance(std::size_t done) {
  if (dialog_ != nullptr) {
    dialog_->setLabelText(LabelText(done, total_));
    dialog_->setValue(static_cast<int>(done));
  }
}

void WriteProgressDialog::End() { delete dialog_; }

}  // namespace telmon
