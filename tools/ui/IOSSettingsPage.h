#pragma once

// The "IOS Settings" page: logging, Unscheduled Request Priority and Request Initiation Delay
// of the I/O server, with the buttons that change them. Thin: the handlers live in
// IOSSettingsLogic.

#include "tools/IOSSettings.h"

#include <QWidget>

class QLabel;
class QLineEdit;
class QPushButton;

namespace telmon {

class IOSSettingsPage : public QWidget, public IIOSSettingsView {
  Q_OBJECT

 public:
  IOSSettingsPage(ICommandSender& sender, IRaiseMsg& sink, QWidget* parent = nullptr);

  // The main window's "IOSSettingsUpdate" handler.
  void OnIOSSettingsUpdate(xml::XmlElement event) { logic_.OnSettingsEvent(event); }
  void SetJournaledSender(JournaledSender* journaled) { logic_.SetJournaledSender(journaled); }

  // IIOSSettingsView
  void SetLogLevelText(const QString& text) override;
  void SetLogIsActiveText(const QString& text) override;
  QString URPText() const override;
  void SetURPText(const QString& text) override;
  void SetRIDText(const QString& text) override;
  void ShowURPStorageNotice() override;

 private:
  QWidget* BuildLoggingFrame();
  QWidget* BuildURPFrame();
  QWidget* BuildRIDFrame();
  QPushButton* Button(const char* name, const QString& caption,
                      void (IOSSettingsLogic::*handler)());

  IOSSettingsLogic logic_;
  QLabel* lblLogLevel_ = nullptr;
  QLabel* lblLogIsActive_ = nullptr;
  QLineEdit* txtUnscheduledRequestPriority_ = nullptr;
  QLineEdit* txtRequestInitiationDelay_ = nullptr;
  QLabel* lblURPStorageNotice_ = nullptr;
};

}  // namespace telmon
