#include "check/Interrupts.h"

#include <QSocketNotifier>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>

namespace telmon::check {

namespace {

// The write end of the pipe, for the handler: a signal handler can reach nothing else.
volatile std::sig_atomic_t gWriteFd = -1;

extern "C" void OnSignal(int) {
  const char byte = 1;
  if (gWriteFd >= 0) {
    [[maybe_unused]] const ssize_t written = ::write(gWriteFd, &byte, 1);
  }
}

}  // namespace

Interrupts::Interrupts(QObject* parent) : QObject(parent) {
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, fds_) != 0) {
    return;
  }
  gWriteFd = fds_[0];
  notifier_ = new QSocketNotifier(fds_[1], QSocketNotifier::Read, this);
  connect(notifier_, &QSocketNotifier::activated, this, &Interrupts::OnReadable);
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

Interrupts::~Interrupts() {
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
  gWriteFd = -1;
  for (const int fd : fds_) {
    if (fd >= 0) {
      ::close(fd);
    }
  }
}

void Interrupts::OnReadable() {
  char bytes[16];
  while (::read(fds_[1], bytes, sizeof bytes) > 0) {
  }
  Q_EMIT Interrupted();
}

}  // namespace telmon::check
