#include "alarms/ui/AlarmsFeature.h"

#include "alarms/AlarmStatistics.h"
#include "alarms/ui/AlarmsPage.h"
#include "alarms/ui/frmAlarmStatistics.h"
#include "journal/SiteStateModel.h"
#include "platform/Prompter.h"

#include <QEvent>
#include <QLabel>
#include <QStatusBar>

#include <algorithm>

namespace telmon {

AlarmsFeature::AlarmsFeature(const Settings& settings, Services services, QStatusBar* bar,
                             QWidget* windowParent)
    : QObject(windowParent),
      services_(std::move(services)),
      windowParent_(windowParent),
      store_(settings.connection, settings.dahs),
      model_(new KeyedListModel(this)),
      manager_(*model_),
      left_(services_.clock, settings.leftChangedLimitSeconds),
      operations_(std::make_unique<AlarmOperations>(
          store_, AlarmOperationServices{services_.gate, services_.journal, services_.sink,
                                         services_.clock, services_.account})),
      page_(new AlarmsPage(*model_)),
      panel_(new QLabel(AlarmListManager::PanelText(0, 0), bar)) {
  manager_.InitializeLsv();
  panel_->setObjectName(QStringLiteral("AlarmsPanel"));
  panel_->setToolTip(QStringLiteral("Alarms: click for the Active Alarms page"));
  panel_->setAccessibleName(QStringLiteral("Alarms"));
  panel_->setFrameStyle(QFrame::Panel | QFrame::Sunken);
  panel_->setCursor(Qt::PointingHandCursor);
  panel_->installEventFilter(this);
  bar->addPermanentWidget(panel_, 0);
  connect(page_, &AlarmsPage::AcknowledgeClicked, this, &AlarmsFeature::AcknowledgeSelected);
  connect(page_, &AlarmsPage::AcknowledgeShownClicked, this, &AlarmsFeature::AcknowledgeShown);
  connect(page_, &AlarmsPage::ShelveClicked, this, &AlarmsFeature::ShelveSelected);
  connect(page_, &AlarmsPage::SilenceClicked, this, &AlarmsFeature::Silence);
  connect(page_, &AlarmsPage::StatisticsClicked, this, &AlarmsFeature::ShowStatistics);
}

AlarmsFeature::~AlarmsFeature() = default;

void AlarmsFeature::ReportFailure(const QString& text) {
  if (text != reported_) {
    services_.sink.RaiseMsg(MsgType::Error, text);
    reported_ = text;
  }
  page_->SetNote(text);
}

void AlarmsFeature::Refresh() {
  QString error;
  auto rows = store_.ReadCurrent(&error);
  if (!rows) {
    ReportFailure(QStringLiteral("TELM-9022: Can't read the alarms database: ") + error);
    return;
  }
  const QDateTime now = services_.clock.Now();
  const bool shelfDue = std::any_of(rows->begin(), rows->end(), [&now](const AlarmRow& r) {
    return r.state == AlarmState::Shelved && r.shelvedUntil.isValid() && r.shelvedUntil <= now;
  });
  if (shelfDue) {
    if (!store_.ExpireShelves(now, &error)) {
      ReportFailure(QStringLiteral("TELM-9023: Can't bring back the alarms whose shelving "
                                   "ended: ") +
                    error);
    } else if (auto again = store_.ReadCurrent(&error)) {
      rows = std::move(again);
    }
  }
  reported_.clear();
  page_->SetNote(QString());
  left_.Update(services_.siteState.Items());
  manager_.UpdateLsv(std::move(*rows), left_.Alarms());
  ShowPanel();
  if (horn_.Update(manager_.Alarms())) {
    services_.prompter.Beep();
  }
}

void AlarmsFeature::ShowPanel() {
  panel_->setText(AlarmListManager::PanelText(manager_.Count(), manager_.UnackCount()));
  panel_->setStyleSheet(
      manager_.UnackCount() > 0 ? QStringLiteral("color: white; background: #c00000;") : QString());
}

std::vector<AlarmRow> AlarmsFeature::RowsOfKeys(const QStringList& keys) const {
  std::vector<AlarmRow> rows;
  for (const QString& key : keys) {
    if (const AlarmRow* row = manager_.AlarmOfKey(key)) {
      rows.push_back(*row);
    }
  }
  return rows;
}

void AlarmsFeature::AcknowledgeSelected() {
  if (operations_->Acknowledge(RowsOfKeys(page_->SelectedKeys()))) {
    Refresh();
  }
}

void AlarmsFeature::AcknowledgeShown() {
  if (operations_->Acknowledge(RowsOfKeys(page_->ShownKeys()))) {
    Refresh();
  }
}

void AlarmsFeature::ShelveSelected() {
  if (operations_->Shelve(RowsOfKeys(page_->SelectedKeys()), page_->ShelveMinutes())) {
    Refresh();
  }
}

void AlarmsFeature::Silence() { horn_.Silence(); }

frmAlarmStatistics& AlarmsFeature::StatisticsWindow() {
  if (statistics_ == nullptr) {
    statistics_ = new frmAlarmStatistics(
        [this](QString* error) {
          return ComputeAlarmStatistics(store_, services_.clock.Now(), manager_.Alarms(), error);
        },
        windowParent_);
    statistics_->setWindowFlag(Qt::Window);
  }
  return *statistics_;
}

void AlarmsFeature::ShowStatistics() {
  frmAlarmStatistics& w = StatisticsWindow();
  w.Refresh();
  w.show();
  w.raise();
  w.activateWindow();
}

bool AlarmsFeature::eventFilter(QObject* watched, QEvent* event) {
  if (watched == panel_ && event->type() == QEvent::MouseButtonRelease) {
    Q_EMIT PageRequested();
    return true;
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace telmon
