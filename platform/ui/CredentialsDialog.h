#pragma once

#include <QDialog>

class QLineEdit;

namespace telmon {

// Account name and password for one privilege check. The password box never shows its text,
// and the dialog clears it when it is done with it.
class CredentialsDialog final : public QDialog {
  Q_OBJECT

 public:
  CredentialsDialog(const QString& prompt, const QString& title, QWidget* parent = nullptr);

  QString Account() const;
  QString Password() const;
  void ClearPassword();

 private:
  QLineEdit* account_;
  QLineEdit* password_;
};

}  // namespace telmon
