#include "app/SplashForm.h"

#include <QCoreApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace telmon {

SplashForm::SplashForm(QWidget* parent)
    : QWidget(parent, Qt::SplashScreen | Qt::WindowStaysOnTopHint),
      programName_(new QLabel(this)),
      progressText_(new QLabel(this)),
      progress_(new QProgressBar(this)),
      cancel_(new QPushButton(tr("Cancel"), this)) {
  setObjectName(QStringLiteral("frmSplash"));
  auto* layout = new QVBoxLayout(this);
  QFont big = programName_->font();
  big.setPointSize(big.pointSize() * 2);
  big.setBold(true);
  programName_->setFont(big);
  layout->addWidget(programName_);
  layout->addWidget(progressText_);
  layout->addWidget(progress_);
  layout->addWidget(cancel_, 0, Qt::AlignRight);
  cancel_->setVisible(false);
  connect(cancel_, &QPushButton::clicked, this, [this] { cancelled_ = true; });
  resize(420, 160);
}

void SplashForm::Setup(const QString& programName) {
  programName_->setText(programName);
  setWindowTitle(programName);
  show();
  shown_.start();
  Repaint();
}

void SplashForm::SetProgressText(const QString& text) {
  progressText_->setText(text);
  Repaint();
}

void SplashForm::SetProgressValue(int value) {
  progress_->setValue(value);
  Repaint();
}

void SplashForm::SetProgressRange(int min, int max) { progress_->setRange(min, max); }
void SplashForm::SetProgressVisible(bool visible) { progress_->setVisible(visible); }
void SplashForm::SetAllowCancel(bool allow) { cancel_->setVisible(allow); }
QString SplashForm::ProgressText() const { return progressText_->text(); }
int SplashForm::ProgressValue() const { return progress_->value(); }

void SplashForm::UnloadWhenReady(int minimumMs) {
  const qint64 remaining = shown_.isValid() ? minimumMs - shown_.elapsed() : 0;
  QTimer::singleShot(static_cast<int>(std::max<qint64>(remaining, 0)), this, [this] {
    close();
    deleteLater();
  });
}

// Start-up runs on the user-interface thread; let the splash repaint between steps.
void SplashForm::Repaint() {
  if (isVisible()) {
    repaint();
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  }
}

}  // namespace telmon
