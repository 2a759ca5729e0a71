#include "app/TabFrames.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QTabBar>
#include <QVBoxLayout>

namespace telmon {

TabFrames::TabFrames(QWidget* parent)
    : QWidget(parent),
      tabs_(new QTabBar(this)),
      beside_(new QWidget(this)),
      host_(new QWidget(this)) {
  tabs_->setObjectName(QStringLiteral("tabstripTELM"));
  tabs_->setExpanding(false);
  auto* header = new QHBoxLayout;
  header->setContentsMargins(0, 0, 0, 0);
  header->addWidget(tabs_, 1);
  header->addWidget(beside_, 0);
  // Without a layout of its own the header space keeps a zero size whatever stands in it.
  auto* beside = new QHBoxLayout(beside_);
  beside->setContentsMargins(0, 0, 0, 0);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(4, 4, 4, 0);
  layout->setSpacing(0);
  layout->addLayout(header);
  layout->addWidget(host_, 1);
  connect(tabs_, &QTabBar::currentChanged, this, &TabFrames::OnTabClick);
  host_->installEventFilter(this);
}

void TabFrames::AddPage(const QString& caption, const QString& key, QWidget* frame) {
  const int index = tabs_->addTab(caption);
  tabs_->setTabData(index, key);
  frame->setParent(host_);
  frame->setObjectName(QStringLiteral("fraTabs_%1").arg(index));
  frame->hide();
  frames_.push_back(frame);
}

void TabFrames::AddBeside(QWidget* widget) { beside_->layout()->addWidget(widget); }

QWidget* TabFrames::Frame(int index) const {
  return index >= 0 && index < static_cast<int>(frames_.size()) ? frames_[index] : nullptr;
}

void TabFrames::SelectTab(int index) { tabs_->setCurrentIndex(index); }

void TabFrames::Finalize() {
  tabs_->setCurrentIndex(0);
  PlaceFrames();
  for (QWidget* f : frames_) {
    f->hide();
  }
  current_ = 0;
  started_ = true;
  OnTabClick();
}

void TabFrames::OnTabClick() {
  if (!started_) {
    return;
  }
  const int selected = tabs_->currentIndex();
  if (selected != current_) {
    if (QWidget* f = Frame(current_)) {
      f->hide();
    }
    current_ = selected;
  }
  if (QWidget* f = Frame(current_)) {
    f->show();
  }
}

bool TabFrames::eventFilter(QObject* watched, QEvent* event) {
  if (watched == host_ && event->type() == QEvent::Resize) {
    PlaceFrames();
  }
  return QWidget::eventFilter(watched, event);
}

// Every frame lies exactly over the tab strip's client area.
void TabFrames::PlaceFrames() {
  for (QWidget* f : frames_) {
    f->setGeometry(host_->rect());
  }
}

}  // namespace telmon
