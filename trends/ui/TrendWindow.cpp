#include "trends/ui/TrendWindow.h"

#include "platform/ListExport.h"
#include "platform/ui/ChunkProgressDialog.h"
#include "trends/TrendExport.h"
#include "trends/ui/TrendPlot.h"
#include "util/CsvFile.h"

#include <QAction>
#include <QBuffer>
#include <QLabel>
#include <QStatusBar>
#include <QToolBar>

namespace telmon {

TrendWindow::TrendWindow(TrendRecorder& recorder, Prompter& prompter, QWidget* parent)
    : QMainWindow(parent),
      recorder_(recorder),
      prompter_(prompter),
      plot_(new TrendPlot(recorder, this)),
      reading_(new QLabel(this)),
      thinned_(new QLabel(this)),
      toolbar_(addToolBar(tr("Trends"))) {
  setObjectName(QStringLiteral("frmTrends"));
  setWindowTitle(QString::fromLatin1(TrendsCaption));
  plot_->setObjectName(QStringLiteral("plotTrends"));
  toolbar_->setObjectName(QStringLiteral("toolbarTrends"));
  toolbar_->setToolButtonStyle(Qt::ToolButtonTextOnly);
  reading_->setObjectName(QStringLiteral("lblCursor"));
  reading_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  setCentralWidget(plot_);
  statusBar()->addWidget(reading_, 1);
  thinned_->setObjectName(QStringLiteral("lblThinned"));
  thinned_->setVisible(false);
  statusBar()->addPermanentWidget(thinned_);

  QAction* pause = AddAction("Pause", tr("Pause"),
                             tr("Freeze the view; recording goes on (a zoom or drag pauses too)"));
  pause->setCheckable(true);
  connect(pause, &QAction::toggled, this, &TrendWindow::SetPaused);
  QAction* own = AddAction("OwnScales", tr("Own Scales"),
                           tr("Each channel on a scale of its own instead of one shared scale"));
  own->setCheckable(true);
  connect(own, &QAction::toggled, plot_, &TrendPlot::SetOwnScales);
  connect(AddAction("ShowAll", tr("Show All"), tr("Show everything recorded (pauses the view)")),
          &QAction::triggered, this, [this] {
            SetPaused(true);
            plot_->ShowAll();
          });
  toolbar_->addSeparator();
  connect(AddAction("ExportCsv", tr("Export CSV..."), tr("Save the shown data to a CSV file")),
          &QAction::triggered, this, &TrendWindow::ExportCsv);
  connect(AddAction("SavePicture", tr("Save Picture..."), tr("Save the plot as a PNG picture")),
          &QAction::triggered, this, &TrendWindow::SavePicture);

  connect(plot_, &TrendPlot::Reading, reading_, &QLabel::setText);
  connect(plot_, &TrendPlot::ViewMovedByHand, this, [this] { SetPaused(true); });
  connect(&recorder_, &TrendRecorder::Recorded, this, &TrendWindow::OnRecorded);
  connect(&recorder_, &TrendRecorder::SeriesRemoved, this, &TrendWindow::OnSeriesRemoved);
  resize(900, 500);
}

QAction* TrendWindow::AddAction(const char* name, const QString& caption, const QString& toolTip) {
  QAction* action = toolbar_->addAction(caption);
  action->setObjectName(QString::fromLatin1(name));
  action->setToolTip(toolTip);
  return action;
}

QAction* TrendWindow::Action(const char* name) const {
  return toolbar_->findChild<QAction*>(QString::fromLatin1(name), Qt::FindDirectChildrenOnly);
}

void TrendWindow::SetPaused(bool paused) {
  QAction* pause = Action("Pause");
  if (pause->isChecked() != paused) {
    pause->setChecked(paused);  // comes back here through toggled
    return;
  }
  plot_->SetFollowing(!paused);
}

void TrendWindow::showEvent(QShowEvent* event) {
  QMainWindow::showEvent(event);
  plot_->Sync();
}

// A minimized window takes no points and draws nothing; it catches up in showEvent when it is
// restored.
void TrendWindow::OnRecorded() {
  const QString note = recorder_.ThinnedNote();
  if (note != thinned_->text()) {
    thinned_->setText(note);
    thinned_->setVisible(!note.isEmpty());
  }
  if (Drawn() && plot_->Following()) {
    plot_->Sync();
  }
}

// A channel taken off the watch list leaves the plot at once, paused or not.
void TrendWindow::OnSeriesRemoved() {
  if (isVisible()) {
    plot_->Sync();
  }
}

QByteArray TrendWindow::VisibleCsv() const {
  const QCPRange range = plot_->xAxis->range();
  return TrendCsv(recorder_, plot_->ShownSeries(), range.lower, range.upper);
}

void TrendWindow::ExportCsv() {
  FileDialogRequest request;
  request.title = tr("Export Trend Data");
  request.initialFileName = QStringLiteral("Trends.csv");
  request.defaultExtension = QStringLiteral("csv");
  request.filter = QStringLiteral("CSV Files (*.csv)|*.csv|All Files (*.*)|*.*");
  const QString path = prompter_.SaveFileName(request).value_or(QString());
  if (path.isEmpty()) {
    return;
  }
  // The recording goes on between the chunks; a channel that leaves the trends meanwhile
  // stops the write (its series is gone).
  bool seriesGone = false;
  QObject guard;
  connect(&recorder_, &TrendRecorder::SeriesRemoved, &guard, [&seriesGone] { seriesGone = true; });
  ChunkProgressDialog progress(this, QStringLiteral("Exporting updates"));
  const ProgressFn step = progress.Callback();
  const QCPRange range = plot_->xAxis->range();
  ChunkedWrite result = WriteTrendCsv(
      path, recorder_, plot_->ShownSeries(), range.lower, range.upper,
      [&](std::size_t done, std::size_t total) { return step(done, total) && !seriesGone; });
  if (seriesGone) {
    result.status = ChunkedWrite::Status::Failed;
    result.error = QStringLiteral("a channel left the trends while they were being exported");
  }
  if (result.status == ChunkedWrite::Status::Cancelled) {
    prompter_.Show(ExportCancelledText(result.done, result.total, QStringLiteral("updates"), path),
                   request.title, PromptIcon::Information);
  } else if (result.status == ChunkedWrite::Status::Failed) {
    prompter_.Show(
        QStringLiteral("Could not export the trend data to %1: %2").arg(path, result.error),
        request.title, PromptIcon::Exclamation);
  }
}

void TrendWindow::SavePicture() {
  FileDialogRequest request;
  request.title = tr("Save Trend Picture");
  request.initialFileName = QStringLiteral("Trends.png");
  request.defaultExtension = QStringLiteral("png");
  request.filter = QStringLiteral("PNG Pictures (*.png)|*.png|All Files (*.*)|*.*");
  const QString path = prompter_.SaveFileName(request).value_or(QString());
  if (path.isEmpty()) {
    return;
  }
  QByteArray png;
  QBuffer buffer(&png);
  buffer.open(QIODevice::WriteOnly);
  plot_->toPixmap().save(&buffer, "PNG");
  QString error;
  if (!WriteWholeFile(path, png, &error)) {
    prompter_.Show(QStringLiteral("Could not save the trend picture to %1: %2").arg(path, error),
                   request.title, PromptIcon::Exclamation);
  }
}

}  // namespace telmon
