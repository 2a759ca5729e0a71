#pragma once

// The alarms as the main window carries them: the store on the site's alarms database, the
// "Active Alarms" page with its list, the horn, the monitor's own left-changed alarms, the
// "N alarms (M unack.)" panel at the end of the status bar (red while any alarm waits for an
// acknowledgement; a click asks for the page) and the statistics window, made on first use.
// Refresh runs with the channel tick: one query, then the list, the panel and the horn.

#include "alarms/AlarmHorn.h"
#include "alarms/AlarmListManager.h"
#include "alarms/AlarmOperations.h"
#include "alarms/AlarmStore.h"
#include "alarms/LeftChangedAlarms.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

class QLabel;
class QStatusBar;
class QWidget;

namespace telmon {

class AlarmsPage;
class Prompter;
class SiteStateModel;
class frmAlarmStatistics;

class AlarmsFeature final : public QObject {
  Q_OBJECT

 public:
  struct Services {
    IRaiseMsg& sink;
    const IClock& clock;
    Prompter& prompter;
    IEditGate& gate;
    IOperationJournal& journal;
    const SiteStateModel& siteState;
    std::function<QString()> account;
  };
  struct Settings {
    QString connection;  // the site's alarms database
    std::int32_t dahs = 0;
    std::int64_t leftChangedLimitSeconds = DefaultLeftChangedAlarmHours * 3600LL;
  };
  AlarmsFeature(const Settings& settings, Services services, QStatusBar* bar,
                QWidget* windowParent);
  ~AlarmsFeature() override;

  AlarmsPage* Page() const { return page_; }
  KeyedListModel* Model() const { return model_; }
  QLabel* Panel() const { return panel_; }
  AlarmListManager& Manager() { return manager_; }
  AlarmHorn& Horn() { return horn_; }
  const LeftChangedAlarms& LeftChanged() const { return left_; }

  // One refresh, as the channel tick runs it.
  void Refresh();
  void AcknowledgeSelected();
  void AcknowledgeShown();
  void ShelveSelected();
  void Silence();
  frmAlarmStatistics& StatisticsWindow();
  void ShowStatistics();

 Q_SIGNALS:
  // The panel was clicked: the window shows the page.
  void PageRequested();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  std::vector<AlarmRow> RowsOfKeys(const QStringList& keys) const;
  void ShowPanel();
  // Reports a failure once, and again only after the alarms could be read in between.
  void ReportFailure(const QString& text);

  Services services_;
  QWidget* windowParent_;
  AlarmStore store_;
  KeyedListModel* model_;
  AlarmListManager manager_;
  AlarmHorn horn_;
  LeftChangedAlarms left_;
  std::unique_ptr<AlarmOperations> operations_;
  AlarmsPage* page_;
  QLabel* panel_;
  QPointer<frmAlarmStatistics> statistics_;
  QString reported_;
};

}  // namespace telmon
