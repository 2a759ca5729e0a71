#pragma once

// The operator journal and the site state as the main window shows them (the session owns
// both): the "N left changed" panel at the end of the status bar (red while non-zero; a click
// opens the Site State window), the shared journal's "Journal: N waiting" panel and the two
// windows, made on first use.

#include "journal/OperationJournal.h"
#include "journal/SiteStateModel.h"

#include <QObject>
#include <QPointer>

class QLabel;
class QStatusBar;
class QTimer;
class QWidget;

namespace telmon {

class Prompter;
class frmOperatorJournal;
class frmSiteState;

class JournalFeature final : public QObject {
  Q_OBJECT

 public:
  struct Services {
    IRaiseMsg& sink;
    const IClock& clock;
    Prompter& prompter;
  };
  JournalFeature(OperationJournal& journal, SiteStateModel& state, Services services,
                 QStatusBar* bar, QWidget* windowParent);

  OperationJournal& Journal() { return *journal_; }
  SiteStateModel& SiteState() { return *state_; }
  QLabel* Panel() const { return panel_; }
  // Turns the shared journal on (or off, for an empty connection string); while it is on, a
  // panel shows how many entries wait to be sent to it.
  void SetSharedJournal(const QString& connection);
  QLabel* WaitingPanel() const { return waiting_; }

  frmOperatorJournal& JournalWindow();
  frmSiteState& SiteStateWindow();
  void ShowJournalWindow();
  void ShowSiteStateWindow();
  // Redraws the panel and an open Site State window now (they otherwise follow within 200 ms).
  void RefreshNow();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  Services services_;
  QWidget* windowParent_;
  OperationJournal* journal_;
  SiteStateModel* state_;
  QLabel* panel_;
  QLabel* waiting_;
  QTimer* refresh_;
  QTimer* reload_;
  QPointer<frmOperatorJournal> journalWindow_;
  QPointer<frmSiteState> stateWindow_;
};

}  // namespace telmon
