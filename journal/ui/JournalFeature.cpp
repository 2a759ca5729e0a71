#include "journal/ui/JournalFeature.h"

#include "journal/JournalForwarder.h"
#include "journal/ui/frmOperatorJournal.h"
#include "journal/ui/frmSiteState.h"

#include <QEvent>
#include <QLabel>
#include <QStatusBar>
#include <QTimer>

namespace telmon {

namespace {

void ShowWindow(QWidget& w) {
  if (w.isMinimized()) {
    w.showNormal();
  } else {
    w.show();
  }
  w.raise();
  w.activateWindow();
}

}  // namespace

JournalFeature::JournalFeature(OperationJournal& journal, SiteStateModel& state, Services services,
                               QStatusBar* bar, QWidget* windowParent)
    : QObject(windowParent),
      services_(services),
      windowParent_(windowParent),
      journal_(&journal),
      state_(&state),
      panel_(new QLabel(SiteStateModel::PanelText(0), bar)),
      waiting_(new QLabel(JournalForwarder::WaitingText(0), bar)),
      refresh_(new QTimer(this)),
      reload_(new QTimer(this)) {
  waiting_->setObjectName(QStringLiteral("JournalWaiting"));
  waiting_->setToolTip(QStringLiteral("Journal entries not yet on the site's shared journal"));
  waiting_->setAccessibleName(QStringLiteral("Journal entries waiting"));
  waiting_->setFrameStyle(QFrame::Panel | QFrame::Sunken);
  waiting_->setVisible(false);
  bar->addPermanentWidget(waiting_, 0);
  panel_->setObjectName(QStringLiteral("LeftChanged"));
  panel_->setToolTip(QStringLiteral("Left changed: click for the site state"));
  panel_->setAccessibleName(QStringLiteral("Left changed"));
  panel_->setFrameStyle(QFrame::Panel | QFrame::Sunken);
  panel_->setCursor(Qt::PointingHandCursor);
  panel_->installEventFilter(this);
  bar->addPermanentWidget(panel_, 0);
  // Events come in bursts: the panel and the window are redrawn once per burst.
  refresh_->setSingleShot(true);
  refresh_->setInterval(200);
  connect(refresh_, &QTimer::timeout, this, &JournalFeature::RefreshNow);
  connect(state_, &SiteStateModel::Changed, refresh_, [this] {
    if (!refresh_->isActive()) {
      refresh_->start();
    }
  });
  // Entries from the shared journal come every few seconds: an open window reads them all again
  // once per arrival.
  reload_->setSingleShot(true);
  reload_->setInterval(200);
  connect(reload_, &QTimer::timeout, this, [this] {
    if (journalWindow_ != nullptr && journalWindow_->isVisible()) {
      journalWindow_->Reload();
    }
  });
  connect(journal_, &OperationJournal::SharedChanged, reload_, [this] {
    if (!reload_->isActive()) {
      reload_->start();
    }
  });
  connect(journal_, &OperationJournal::Recorded, this,
          [this](const JournalEntry& entry, const JournalOperation& /*operation*/) {
            if (journalWindow_ != nullptr) {
              journalWindow_->Append(entry);
            }
          });
}

void JournalFeature::SetSharedJournal(const QString& connection) {
  journal_->SetSharedJournal(connection);
  JournalForwarder* forwarder = journal_->Forwarder();
  waiting_->setText(JournalForwarder::WaitingText(0));
  waiting_->setVisible(forwarder != nullptr);
  if (forwarder != nullptr) {
    connect(forwarder, &JournalForwarder::WaitingChanged, waiting_, [this](qint64 count) {
      waiting_->setText(JournalForwarder::WaitingText(count));
      waiting_->setStyleSheet(count > 0 ? QStringLiteral("background: #ffd966;") : QString());
    });
  }
}

void JournalFeature::RefreshNow() {
  const int count = state_->LeftChangedCount();
  panel_->setText(SiteStateModel::PanelText(count));
  panel_->setStyleSheet(count > 0 ? QStringLiteral("color: white; background: #c00000;")
                                  : QString());
  if (stateWindow_ != nullptr && stateWindow_->isVisible()) {
    stateWindow_->Refresh();
  }
}

frmOperatorJournal& JournalFeature::JournalWindow() {
  if (journalWindow_ == nullptr) {
    journalWindow_ = new frmOperatorJournal(*journal_, services_.prompter, windowParent_);
    journalWindow_->setWindowFlag(Qt::Window);
  }
  return *journalWindow_;
}

frmSiteState& JournalFeature::SiteStateWindow() {
  if (stateWindow_ == nullptr) {
    stateWindow_ = new frmSiteState(*state_, windowParent_);
    stateWindow_->setWindowFlag(Qt::Window);
  }
  return *stateWindow_;
}

void JournalFeature::ShowJournalWindow() {
  frmOperatorJournal& w = JournalWindow();
  w.Reload();
  ShowWindow(w);
}

void JournalFeature::ShowSiteStateWindow() {
  frmSiteState& w = SiteStateWindow();
  w.Refresh();
  ShowWindow(w);
}

bool JournalFeature::eventFilter(QObject* watched, QEvent* event) {
  if (watched == panel_ && event->type() == QEvent::MouseButtonRelease) {
    ShowSiteStateWindow();
    return true;
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace telmon
