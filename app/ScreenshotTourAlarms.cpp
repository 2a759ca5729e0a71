#include "alarms/ui/AlarmsFeature.h"
#include "alarms/ui/frmAlarmStatistics.h"
#include "app/ScreenshotTour.h"
#include "app/frmMain.h"

#include <QStatusBar>

namespace telmon {

void ScreenshotTour::ShootAlarms() {
  AlarmsFeature* alarms = window_.Alarms();
  if (alarms == nullptr) {
    return;
  }
  alarms->Refresh();
  frmAlarmStatistics& statistics = alarms->StatisticsWindow();
  statistics.Refresh();
  statistics.show();
  Save(&statistics, QStringLiteral("alarm-statistics"));
  statistics.close();
  Save(window_.statusBar(), QStringLiteral("alarms-panel"));
}

}  // namespace telmon
