#include "tools/ui/IOSSettingsPage.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace telmon {

namespace {

constexpr int BoxWidth = 90;

QGroupBox* Frame(const char* name, const QString& title) {
  auto* frame = new QGroupBox(title);
  frame->setObjectName(QLatin1String(name));
  return frame;
}

QLabel* Label(const QString& text, const char* name = nullptr) {
  auto* label = new QLabel(text);
  if (name != nullptr) {
    label->setObjectName(QLatin1String(name));
  }
  return label;
}

QLabel* HelpLabel(const QString& text) {
  QLabel* label = Label(text);
  label->setWordWrap(true);
  return label;
}

}  // namespace

IOSSettingsPage::IOSSettingsPage(ICommandSender& sender, IRaiseMsg& sink, QWidget* parent)
    : QWidget(parent), logic_(*this, sender, sink) {
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(BuildLoggingFrame());
  layout->addWidget(BuildURPFrame());
  layout->addWidget(BuildRIDFrame());
  auto* refreshRow = new QHBoxLayout;
  refreshRow->addWidget(Button("cmdUpdateSettings", QStringLiteral("Refresh Settings"),
                               &IOSSettingsLogic::OnRefreshSettings));
  refreshRow->addStretch();
  layout->addLayout(refreshRow);
  layout->addStretch();
}

QPushButton* IOSSettingsPage::Button(const char* name, const QString& caption,
                                     void (IOSSettingsLogic::*handler)()) {
  auto* button = new QPushButton(caption);
  button->setObjectName(QLatin1String(name));
  connect(button, &QPushButton::clicked, this, [this, handler] { (logic_.*handler)(); });
  return button;
}

QWidget* IOSSettingsPage::BuildLoggingFrame() {
  QGroupBox* frame = Frame("fraIOSLogging", QStringLiteral(" IOS Logging "));
  auto* grid = new QGridLayout(frame);
  lblLogLevel_ = Label(QString(), "lblLogLevel");
  lblLogIsActive_ = Label(QString(), "lblLogIsActive");
  grid->addWidget(Label(QStringLiteral("Log level:")), 0, 0);
  grid->addWidget(lblLogLevel_, 0, 1);
  grid->addWidget(Label(QStringLiteral("Log file active:")), 1, 0);
  grid->addWidget(lblLogIsActive_, 1, 1);
  grid->addWidget(Button("cmdSetLogLevelNone", QStringLiteral("Set LogLevel=None"),
                         &IOSSettingsLogic::OnSetLogLevelNone),
                  0, 2);
  grid->addWidget(Button("cmdSetLogLevelNormal", QStringLiteral("Set LogLevel=Normal"),
                         &IOSSettingsLogic::OnSetLogLevelNormal),
                  1, 2);
  grid->addWidget(Button("cmdSetLogLevelAll", QStringLiteral("Set LogLevel=All"),
                         &IOSSettingsLogic::OnSetLogLevelAll),
                  2, 2);
  grid->addWidget(Button("cmdStartStopRestartLog", QStringLiteral("Start/Restart/Stop Log"),
                         &IOSSettingsLogic::OnStartStopRestartLog),
                  3, 2);
  grid->setColumnStretch(1, 1);
  return frame;
}

QWidget* IOSSettingsPage::BuildURPFrame() {
  QGroupBox* frame =
      Frame("fraUnscheduledRequestPriority", QStringLiteral(" Unscheduled Request Priority "));
  auto* grid = new QGridLayout(frame);
  txtUnscheduledRequestPriority_ = new QLineEdit;
  txtUnscheduledRequestPriority_->setObjectName(QStringLiteral("txtUnscheduledRequestPriority"));
  txtUnscheduledRequestPriority_->setMaximumWidth(BoxWidth);
  lblURPStorageNotice_ =
      Label(QStringLiteral("This setting is stored in the ConfigDB."), "lblURPStorageNotice");
  lblURPStorageNotice_->setVisible(false);
  grid->addWidget(Label(QStringLiteral("Unscheduled Request Priority:")), 0, 0);
  grid->addWidget(txtUnscheduledRequestPriority_, 0, 1);
  grid->addWidget(
      Button("cmdIncreaseURP", QStringLiteral("Increase"), &IOSSettingsLogic::OnIncreaseURP), 0, 2);
  grid->addWidget(
      Button("cmdDecreaseURP", QStringLiteral("Decrease"), &IOSSettingsLogic::OnDecreaseURP), 0, 3);
  grid->addWidget(
      HelpLabel(QStringLiteral(
          "This setting indicates how many \"scheduled\" I/O requests are serviced for every "
          "\"unscheduled\" request, when both kinds of requests are pending. Affects "
          "communications during HDR. Default=1.")),
      1, 0, 1, 5);
  grid->addWidget(lblURPStorageNotice_, 2, 0, 1, 5);
  grid->setColumnStretch(4, 1);
  return frame;
}

QWidget* IOSSettingsPage::BuildRIDFrame() {
  QGroupBox* frame =
      Frame("fraRequestInitiationDelay", QStringLiteral(" Request Initiation Delay "));
  auto* grid = new QGridLayout(frame);
  txtRequestInitiationDelay_ = new QLineEdit;
  txtRequestInitiationDelay_->setObjectName(QStringLiteral("txtRequestInitiationDelay"));
  txtRequestInitiationDelay_->setMaximumWidth(BoxWidth);
  connect(txtRequestInitiationDelay_, &QLineEdit::textChanged, this,
          [this](const QString& text) { logic_.OnRIDTextChanged(text); });
  grid->addWidget(Label(QStringLiteral("Request Initiation Delay (msec):")), 0, 0);
  grid->addWidget(txtRequestInitiationDelay_, 0, 1);
  grid->addWidget(
      Label(QStringLiteral("Delay before each I/O request is serviced. Min=10 msec. Default=0.")),
      1, 0, 1, 3);
  grid->addWidget(Label(QStringLiteral("This setting is in-memory only."), "lblRIDStorageNotice"),
                  2, 0, 1, 3);
  grid->setColumnStretch(2, 1);
  return frame;
}

void IOSSettingsPage::SetLogLevelText(const QString& text) { lblLogLevel_->setText(text); }

void IOSSettingsPage::SetLogIsActiveText(const QString& text) { lblLogIsActive_->setText(text); }

QString IOSSettingsPage::URPText() const { return txtUnscheduledRequestPriority_->text(); }

void IOSSettingsPage::SetURPText(const QString& text) {
  txtUnscheduledRequestPriority_->setText(text);
}

void IOSSettingsPage::SetRIDText(const QString& text) { txtRequestInitiationDelay_->setText(text); }

void IOSSettingsPage::ShowURPStorageNotice() { lblURPStorageNotice_->setVisible(true); }

}  // namespace telmon
