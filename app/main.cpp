#include "app/CommandLine.h"
#include "app/ScreenshotTour.h"
#include "app/SplashForm.h"
#include "app/frmMain.h"
#include "platform/ui/QtPrompter.h"
#include "util/Clock.h"

#include "TelmonVersion.h"

#include <QApplication>
#include <QIcon>
#include <QStringList>
#include <QTextStream>

using namespace telmon;

int main(int argc, char* argv[]) {
  // --help and --version answer before the window system is opened, so that they work without a
  // display (over ssh, in scripts).
  {
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
      arguments << QString::fromLocal8Bit(argv[i]);
    }
    const CommandLine early = CommandLine::Parse(arguments);
    QTextStream out(stdout);
    if (early.help) {
      out << CommandLine::HelpText(QStringLiteral("telmon"));
      return 0;
    }
    if (early.version) {
      out << "telmon " << kVersion << "\n";
      return 0;
    }
  }

  QApplication app(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Telmon"));
  QApplication::setApplicationVersion(QString::fromLatin1(kVersion));
  QApplication::setOrganizationName(QStringLiteral("Quarn"));
  // The desktop entry and the installed icon share this name.
  QGuiApplication::setDesktopFileName(QString::fromLatin1(kDesktopFileName));
  QApplication::setWindowIcon(QIcon::fromTheme(QString::fromLatin1(kDesktopFileName)));

  const CommandLine cl = CommandLine::Parse(QApplication::arguments());

  SystemClock clock;
  QtPrompter prompter;
  // Where the computer's own name does not reach the I/O server, TELMON_IOS_HOST names it.
  frmMain window(cl, MainServices{prompter, clock, qEnvironmentVariable("TELMON_IOS_HOST")});
  prompter.SetParent(&window);
  auto* splash = new SplashForm;
  splash->setAttribute(Qt::WA_DeleteOnClose);
  if (!window.Startup(splash)) {
    window.ShowFailedStartup();
    return 1;
  }
  window.show();
  if (!cl.screenshotDir.isEmpty()) {
    new ScreenshotTour(window, cl.screenshotDir, 5000, &window);
  }
  return QApplication::exec();
}
