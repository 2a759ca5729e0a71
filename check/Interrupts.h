#pragma once

// Ctrl-C (SIGINT) and SIGTERM turned into a Qt signal: the handler only writes one byte to a
// pipe, and a socket notifier on the event loop does the rest.

#include <QObject>

class QSocketNotifier;

namespace telmon::check {

class Interrupts : public QObject {
  Q_OBJECT

 public:
  explicit Interrupts(QObject* parent = nullptr);
  ~Interrupts() override;
  bool Installed() const { return notifier_ != nullptr; }

 Q_SIGNALS:
  void Interrupted();

 private:
  void OnReadable();

  int fds_[2] = {-1, -1};
  QSocketNotifier* notifier_ = nullptr;  // child
};

}  // namespace telmon::check
