#include "app/ScreenshotTour.h"

#include "app/SplashForm.h"
#include "app/TabFrames.h"
#include "app/frmMain.h"
#include "messages/frmProblems.h"
#include "platform/ui/CredentialsDialog.h"
#include "tools/ui/CalHdrFrame.h"
#include "tools/ui/IOSSettingsPage.h"
#include "views/ChannelConfigInfoManager.h"
#include "watches/ChannelValueWriter.h"
#include "watches/ui/frmChangeChanValue.h"
#include "watches/ui/frmChangeChanValues.h"

#include <QCoreApplication>
#include <QDir>
#include <QPixmap>
#include <QRegularExpression>
#include <QTabBar>
#include <QTextStream>
#include <QTimer>

namespace telmon {

ScreenshotTour::ScreenshotTour(frmMain& window, QString folder, int settleMs, QObject* parent)
    : QObject(parent), window_(window), folder_(std::move(folder)) {
  QTimer::singleShot(settleMs, this, &ScreenshotTour::Shoot);
}

bool ScreenshotTour::Save(QWidget* widget, const QString& name) {
  QCoreApplication::processEvents();
  const QString path = QDir(folder_).filePath(name + QStringLiteral(".png"));
  const bool ok = widget->grab().save(path);
  QTextStream(stdout) << (ok ? "saved " : "could not save ") << path << "\n";
  return ok;
}

void ScreenshotTour::Shoot() {
  QDir().mkpath(folder_);
  TabFrames& tabs = window_.Tabs();
  window_.UpdateChannels();
  CalHdrFrame* calHdr = window_.CalHdr();
  if (calHdr != nullptr) {
    calHdr->LoadList();  // the cal HDR frame as the operator sees it after "Load List"
  }
  for (int i = 0; i < tabs.tabstripTELM()->count(); ++i) {
    tabs.SelectTab(i);
    QString name = tabs.tabstripTELM()->tabText(i).toLower();
    name.replace(QRegularExpression(QStringLiteral("[^a-z0-9]+")), QStringLiteral("-"));
    Save(&window_, QStringLiteral("%1-%2").arg(i + 1).arg(name));
    if (calHdr != nullptr && calHdr->isVisible()) {
      Save(calHdr, QStringLiteral("cal-hdr-frame"));
    }
    if (window_.SettingsPage() != nullptr && window_.SettingsPage()->isVisible()) {
      Save(window_.SettingsPage(), QStringLiteral("ios-settings-page"));
    }
  }
  tabs.SelectTab(0);
  frmProblems& problems = window_.Problems();
  problems.resize(900, 400);
  problems.show();
  Save(&problems, QStringLiteral("messages"));
  problems.hide();

  SplashForm splash;
  splash.Setup(QStringLiteral("Telmon"));
  splash.SetProgressText(QStringLiteral("Preparing block manager..."));
  splash.SetProgressValue(85);
  Save(&splash, QStringLiteral("splash"));
  splash.close();

  CredentialsDialog credentials(QStringLiteral("Privilege level 250 is needed to allow edits."),
                                QStringLiteral("Telmon"), &window_);
  credentials.show();
  Save(&credentials, QStringLiteral("credentials"));
  credentials.close();
  ShootValueDialogs();
  window_.CloseByProgram();
}

void ScreenshotTour::ShootValueDialogs() {
  if (window_.ValueWriter() == nullptr) {
    return;
  }
  // A wave channel shows every control of the one-channel dialog enabled.
  std::int32_t waveChannel = 0;
  for (const auto& record : window_.ChannelConfigs().NewEnum()) {
    if (record->DataSource == QStringLiteral("TriangleWave")) {
      waveChannel = record->Key.chopped(1).toInt();
      break;
    }
  }
  const ChangeValueServices services{window_.ChannelConfigs(), *window_.ValueWriter(), window_,
                                     window_.Prompts(), QStringLiteral("Telmon")};
  frmChangeChanValue one(services, &window_);
  one.SetChannelID(waveChannel);
  one.show();
  Save(&one, QStringLiteral("change-channel-value"));
  one.close();
  frmChangeChanValues several(services, &window_);
  several.SetChannelIDList(QStringLiteral("\t1001\t1002"));
  several.show();
  Save(&several, QStringLiteral("change-channel-values"));
  several.close();
}

}  // namespace telmon
