#include "platform/ui/ChunkProgressDialog.h"

#include <QCoreApplication>
#include <QLocale>
#include <QProgressDialog>

#include <limits>

namespace telmon {

namespace {

// QProgressDialog counts in int: larger totals are scaled.
int Scaled(std::size_t count, std::size_t total) {
  constexpr std::size_t kMost = std::numeric_limits<int>::max();
  return static_cast<int>(total <= kMost ? count : count / (total / kMost + 1));
}

}  // namespace

ChunkProgressDialog::ChunkProgressDialog(QWidget* owner, QString what)
    : owner_(owner), what_(std::move(what)) {}

ChunkProgressDialog::~ChunkProgressDialog() { delete dialog_; }

QString ChunkProgressDialog::LabelText(const QString& what, std::size_t done, std::size_t total) {
  const QLocale locale;
  return QStringLiteral("%1: %2 of %3")
      .arg(what, locale.toString(static_cast<qulonglong>(done)),
           locale.toString(static_cast<qulonglong>(total)));
}

ProgressFn ChunkProgressDialog::Callback() {
  return [this](std::size_t done, std::size_t total) { return Step(done, total); };
}

bool ChunkProgressDialog::Step(std::size_t done, std::size_t total) {
  if (dialog_ == nullptr) {
    dialog_ = new QProgressDialog(LabelText(what_, 0, total), QStringLiteral("&Cancel"), 0,
                                  Scaled(total, total), owner_);
    dialog_->setObjectName(QStringLiteral("dlgChunkProgress"));
    dialog_->setWindowTitle(QStringLiteral("Telmon"));
    dialog_->setWindowModality(Qt::ApplicationModal);
    dialog_->setMinimumDuration(ShowAfterMs);
    dialog_->setAutoClose(false);
    dialog_->setAutoReset(false);
    dialog_->setValue(0);
  }
  dialog_->setLabelText(LabelText(what_, done, total));
  const bool shown = dialog_->isVisible();
  // A shown bar lets the window run itself (it is modal); before that the window runs here,
  // keeping the operator's input for later.
  dialog_->setValue(Scaled(done, total));
  if (!shown) {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  }
  cancelled_ = cancelled_ || dialog_->wasCanceled();
  return !cancelled_;
}

}  // namespace telmon
