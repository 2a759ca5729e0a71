#include "watches/ui/BulkWritesPage.h"

#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace telmon {

namespace {

QLabel* Label(QWidget* parent, const char* name, const QString& text) {
  auto* label = new QLabel(text, parent);
  label->setObjectName(QLatin1String(name));
  return label;
}

QFrame* Frame(QWidget* parent, const char* titleName, const QString& title, const char* noteName,
              const QString& note) {
  auto* frame = new QFrame(parent);
  frame->setFrameShape(QFrame::StyledPanel);
  auto* layout = new QVBoxLayout(frame);
  QLabel* heading = Label(frame, titleName, title);
  QFont bold = heading->font();
  bold.setBold(true);
  heading->setFont(bold);
  layout->addWidget(heading);
  layout->addWidget(Label(frame, noteName, note));
  layout->addLayout(new QHBoxLayout);
  return frame;
}

QHBoxLayout* Row(QWidget* frame) {
  auto* layout = static_cast<QVBoxLayout*>(frame->layout());
  return static_cast<QHBoxLayout*>(layout->itemAt(layout->count() - 1)->layout());
}

}  // namespace

BulkWritesPage::BulkWritesPage(BulkWriteServices services, QWidget* parent)
    : QWidget(parent), writes_(std::move(services)) {
  auto* layout = new QVBoxLayout(this);
  QLabel* warning =
      Label(this, "lblBulkWriteWarning", QStringLiteral("WARNING! USE IN RANDOM MODE ONLY!"));
  QFont font = warning->font();
  font.setBold(true);
  warning->setFont(font);
  warning->setStyleSheet(QStringLiteral("color: red"));
  layout->addWidget(warning);
  frames_ = new QVBoxLayout;
  layout->addLayout(frames_);
  layout->addStretch();
  frames_->addWidget(AllChannelsFrame());
  frames_->addWidget(AnalyzerFrame());
  // A write to thousands of channels takes a moment: the pointer says so while the records are
  // written, and only then, so no question or password prompt appears under the hourglass.
  writes_.SetBusyIndicator([](bool busy) {
    if (busy) {
      QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    } else {
      QGuiApplication::restoreOverrideCursor();
    }
  });
}

void BulkWritesPage::AddFrame(QWidget* frame) {
  frame->setParent(this);
  frames_->addWidget(frame);
}

QPushButton* BulkWritesPage::Button(const QString& name) const {
  return findChild<QPushButton*>(name);
}

QWidget* BulkWritesPage::AllChannelsFrame() {
  QFrame* frame =
      Frame(this, "lblWriteToAllMCChannelsFrameTitle", QStringLiteral("Write to All MC Channels"),
            "lblWriteToAllMCChannels",
            QStringLiteral("Affects all channels with HWAddress ending in 'MC60' or 'MC75'"));
  txtAll_ = new QLineEdit(frame);
  txtAll_->setObjectName(QStringLiteral("txtWriteToAllMCChannels"));
  Row(frame)->addWidget(txtAll_);
  AddButton(frame, "cmdWriteToAllMCChannels", QStringLiteral("Write"),
            &BulkModeCodeWrites::cmdWriteToAllMCChannels);
  AddButton(frame, "cmdWrite00ToAllMCChannels", QStringLiteral("MC 00"),
            &BulkModeCodeWrites::cmdWrite00ToAllMCChannels);
  AddButton(frame, "cmdWrite13ToAllMCChannels", QStringLiteral("MC 13"),
            &BulkModeCodeWrites::cmdWrite13ToAllMCChannels);
  Row(frame)->addStretch();
  return frame;
}

QWidget* BulkWritesPage::AnalyzerFrame() {
  QFrame* frame =
      Frame(this, "lblWriteToAllCemsInfoMCChannelsFrameTitle",
            QStringLiteral("Write to Analyzer MC Channels"), "lblWriteToAllCemsInfoMCChannels",
            QStringLiteral("Affects all channels with (HWAddress ending in 'MC60' or 'MC75') AND "
                           "(NOx, O2, CO, NH3, opacity, PM)"));
  txtAnalyzer_ = new QLineEdit(frame);
  txtAnalyzer_->setObjectName(QStringLiteral("txtWriteToAllCemsInfoMCChannels"));
  Row(frame)->addWidget(txtAnalyzer_);
  AddButton(frame, "cmdWriteToAllCemsInfoMCChannels", QStringLiteral("Write"),
            &BulkModeCodeWrites::cmdWriteToAllCemsInfoMCChannels);
  AddButton(frame, "cmdWriteMC00ToAllCemsInfoMCChannels", QStringLiteral("MC 00"),
            &BulkModeCodeWrites::cmdWriteMC00ToAllCemsInfoMCChannels);
  AddButton(frame, "cmdWriteMC14ToAllCemsInfoMCChannels", QStringLiteral("MC 14"),
            &BulkModeCodeWrites::cmdWriteMC14ToAllCemsInfoMCChannels);
  AddButton(frame, "cmdWriteMC1112ToAllCemsInfoMCChannels", QStringLiteral("MC 11/12"),
            &BulkModeCodeWrites::cmdWriteMC1112ToAllCemsInfoMCChannels);
  Row(frame)->addStretch();
  return frame;
}

QPushButton* BulkWritesPage::AddButton(QWidget* frame, const char* name, const QString& caption,
                                       void (BulkModeCodeWrites::*action)()) {
  auto* button = new QPushButton(caption, frame);
  button->setObjectName(QLatin1String(name));
  Row(frame)->addWidget(button);
  connect(button, &QPushButton::clicked, this, [this, action] {
    writes_.txtWriteToAllMCChannels = txtAll_->text();
    writes_.txtWriteToAllCemsInfoMCChannels = txtAnalyzer_->text();
    (writes_.*action)();
    SyncBoxes();
  });
  return button;
}

void BulkWritesPage::SyncBoxes() {
  txtAll_->setText(writes_.txtWriteToAllMCChannels);
  txtAnalyzer_->setText(writes_.txtWriteToAllCemsInfoMCChannels);
}

}  // namespace telmon
