// The alarms page, its status-bar panel and the statistics window, hooked into the frame.

#include "alarms/ui/AlarmsFeature.h"
#include "alarms/ui/AlarmsPage.h"
#include "app/TabFrames.h"
#include "app/frmMain.h"
#include "journal/ui/JournalFeature.h"
#include "journal/ui/frmSiteState.h"
#include "platform/H5DBIL.h"
#include "session/EditModeController.h"
#include "session/IOSSelectedDahs.h"
#include "session/SiteSession.h"

#include <QStatusBar>
#include <QTabBar>

namespace telmon {

void frmMain::SetupAlarms() {
  AlarmsFeature::Settings settings;
  settings.connection = session_->Settings()->SqlConnectionString_Alarms();
  settings.dahs = session_->Settings()->DahsID();
  settings.leftChangedLimitSeconds = LeftChangedAlarms::LimitFromLookup(
      session_->Dbil()->LookupValue(QString::fromLatin1(LeftChangedAlarmLookupKey), QString()));
  alarms_ =
      new AlarmsFeature(settings,
                        {*this, services_.clock, services_.prompter, *edit_, journal_->Journal(),
                         journal_->SiteState(), [this] { return edit_->EditAccount(); }},
                        statusBar(), this);
  connect(alarms_, &AlarmsFeature::PageRequested, this, &frmMain::ShowAlarmsPage);
  // The monitor's own alarms are part of what the site state shows as left changed.
  journal_->SiteStateWindow().SetExtraGroup(
      QStringLiteral("Left changed too long (Telmon's own alarms)"), [this] {
        std::vector<QStringList> rows;
        for (const AlarmRow& a : alarms_->LeftChanged().Alarms()) {
          rows.push_back({AlarmSourceText(a), a.condition, a.message});
        }
        return rows;
      });
  tabs_->AddPage(QStringLiteral("Active Alarms"), QStringLiteral("Alarms"), alarms_->Page());
}

void frmMain::ShowAlarmsPage() {
  const QTabBar* strip = tabs_->tabstripTELM();
  for (int i = 0; i < strip->count(); ++i) {
    if (strip->tabData(i).toString() == QLatin1String("Alarms")) {
      tabs_->SelectTab(i);
      return;
    }
  }
}

KeyedListModel* frmMain::AlarmsModel() const {
  return alarms_ != nullptr ? alarms_->Model() : nullptr;
}

}  // namespace telmon
