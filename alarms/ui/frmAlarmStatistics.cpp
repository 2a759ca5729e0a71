#include "alarms/ui/frmAlarmStatistics.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

#include <algorithm>

namespace telmon {

namespace {

QString SourceText(const AlarmSourceCount& c) {
  AlarmRow row;
  row.sourceKind = c.sourceKind;
  row.sourceId = c.sourceId;
  row.sourceName = c.sourceName;
  return AlarmSourceText(row);
}

QString Percent(int part, int whole) {
  return whole == 0 ? QStringLiteral("0 %")
                    : QString::number(100.0 * part / whole, 'f', 1) + QStringLiteral(" %");
}

QString Table(const QStringList& headers, const QList<QStringList>& rows) {
  QString html = QStringLiteral("<table border=\"1\" cellspacing=\"0\" cellpadding=\"3\"><tr>");
  for (const QString& h : headers) {
    html += QStringLiteral("<th>") + h.toHtmlEscaped() + QStringLiteral("</th>");
  }
  html += QStringLiteral("</tr>");
  for (const QStringList& row : rows) {
    html += QStringLiteral("<tr>");
    for (const QString& cell : row) {
      html += QStringLiteral("<td>") + cell.toHtmlEscaped() + QStringLiteral("</td>");
    }
    html += QStringLiteral("</tr>");
  }
  return html + QStringLiteral("</table>");
}

}  // namespace

AlarmRateChart::AlarmRateChart(QWidget* parent) : QWidget(parent) {
  setObjectName(QStringLiteral("chartAlarmRate"));
  setMinimumHeight(160);
}

void AlarmRateChart::SetStatistics(const AlarmStatistics& statistics) {
  statistics_ = statistics;
  update();
}

void AlarmRateChart::paintEvent(QPaintEvent* /*event*/) {
  QPainter p(this);
  p.fillRect(rect(), palette().base());
  const int left = 36;
  const int bottom = height() - 22;
  const int top = 8;
  const int maxCount =
      std::max({AlarmFloodThreshold + 2,
                *std::max_element(statistics_.perSlot.begin(), statistics_.perSlot.end())});
  const double slotWidth = static_cast<double>(width() - left - 8) / AlarmSlots;
  const auto y = [&](int count) { return bottom - (bottom - top) * count / maxCount; };
  p.setPen(palette().text().color());
  p.drawLine(left, top, left, bottom);
  p.drawLine(left, bottom, width() - 8, bottom);
  p.drawText(2, y(maxCount) + 10, QString::number(maxCount));
  p.drawText(2, bottom, QStringLiteral("0"));
  // The flood line: more than this in a slot is a flood.
  p.setPen(QPen(QColor(192, 0, 0), 1, Qt::DashLine));
  p.drawLine(left, y(AlarmFloodThreshold), width() - 8, y(AlarmFloodThreshold));
  for (int slot = 0; slot < AlarmSlots; ++slot) {
    const int count = statistics_.perSlot[static_cast<std::size_t>(slot)];
    const QRectF bar(left + slot * slotWidth, y(count), std::max(1.0, slotWidth - 1),
                     bottom - y(count));
    p.fillRect(bar, statistics_.IsFlood(slot) ? QColor(200, 0, 0) : QColor(40, 90, 200));
  }
  p.setPen(palette().text().color());
  if (statistics_.from.isValid()) {
    for (int slot = 0; slot < AlarmSlots; slot += 36) {
      p.drawText(QPointF(left + slot * slotWidth, height() - 6),
                 statistics_.SlotStart(slot).toString(QStringLiteral("HH:mm")));
    }
  }
}

frmAlarmStatistics::frmAlarmStatistics(Compute compute, QWidget* parent)
    : QWidget(parent),
      compute_(std::move(compute)),
      chart_(new AlarmRateChart(this)),
      summary_(new QLabel(this)),
      report_(new QTextBrowser(this)) {
  setObjectName(QStringLiteral("frmAlarmStatistics"));
  setWindowTitle(QStringLiteral("Alarm Statistics"));
  summary_->setObjectName(QStringLiteral("lblSummary"));
  summary_->setWordWrap(true);
  report_->setObjectName(QStringLiteral("txtReport"));
  auto* refresh = new QPushButton(QStringLiteral("Refresh"), this);
  refresh->setObjectName(QStringLiteral("cmdRefresh"));
  connect(refresh, &QPushButton::clicked, this, &frmAlarmStatistics::Refresh);
  auto* top = new QHBoxLayout;
  top->addWidget(summary_, 1);
  top->addWidget(refresh);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top);
  layout->addWidget(chart_);
  layout->addWidget(report_, 1);
  resize(820, 640);
}

void frmAlarmStatistics::Refresh() {
  QString error;
  const auto s = compute_(&error);
  if (!s) {
    summary_->setText(QStringLiteral("The alarm statistics could not be worked out: ") + error);
    report_->clear();
    chart_->SetStatistics(AlarmStatistics{});
    return;
  }
  chart_->SetStatistics(*s);
  summary_->setText(SummaryText(*s));
  report_->setHtml(Html(*s));
}

QString frmAlarmStatistics::ReportHtml() const { return report_->toHtml(); }
QString frmAlarmStatistics::Summary() const { return summary_->text(); }

QString frmAlarmStatistics::SummaryText(const AlarmStatistics& s) {
  return QStringLiteral(
             "%1 alarms in the last 24 hours. Floods (more than %2 alarms in 10 "
             "minutes): %3. Chattering: %4. Stale (active more than %5 hours): %6.")
      .arg(s.total)
      .arg(AlarmFloodThreshold)
      .arg(s.FloodSlots())
      .arg(s.chattering.size())
      .arg(AlarmStaleHours)
      .arg(s.stale.size());
}

QString frmAlarmStatistics::Html(const AlarmStatistics& s) {
  QString html;
  QList<QStringList> floods;
  for (int slot = 0; slot < AlarmSlots; ++slot) {
    if (s.IsFlood(slot)) {
      floods.append({s.SlotStart(slot).toString(QStringLiteral("yyyy-MM-dd HH:mm")),
                     QString::number(s.perSlot[static_cast<std::size_t>(slot)])});
    }
  }
  html += QStringLiteral("<h3>Floods</h3>") +
          Table({QStringLiteral("10 minutes from"), QStringLiteral("Alarms")}, floods);
  QList<QStringList> chatter;
  for (const AlarmSourceCount& c : s.chattering) {
    chatter.append({SourceText(c), c.condition, QString::number(c.count)});
  }
  html += QStringLiteral("<h3>Chattering (3 or more activations in a minute)</h3>") +
          Table({QStringLiteral("Source"), QStringLiteral("Condition"),
                 QStringLiteral("Activations in a burst")},
                chatter);
  QList<QStringList> stale;
  for (const AlarmRow& r : s.stale) {
    stale.append({AlarmSourceText(r), r.condition,
                  r.raised.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))});
  }
  html += QStringLiteral("<h3>Stale (active more than 24 hours)</h3>") +
          Table({QStringLiteral("Source"), QStringLiteral("Condition"), QStringLiteral("Raised")},
                stale);
  QList<QStringList> top;
  for (const AlarmSourceCount& c : s.topSources) {
    top.append({SourceText(c), QString::number(c.count), Percent(c.count, s.total)});
  }
  html += QStringLiteral("<h3>Most frequent sources</h3>") +
          Table({QStringLiteral("Source"), QStringLiteral("Alarms"), QStringLiteral("Share")}, top);
  QList<QStringList> priorities;
  for (int p = HighestAlarmPriority; p <= LowestAlarmPriority; ++p) {
    const int n = s.byPriority[static_cast<std::size_t>(p)];
    priorities.append({QString::number(p) + QStringLiteral(" ") + AlarmPriorityText(p),
                       QString::number(n), Percent(n, s.total)});
  }
  if (s.byPriority[0] > 0) {
    priorities.append({QStringLiteral("other"), QString::number(s.byPriority[0]),
                       Percent(s.byPriority[0], s.total)});
  }
  html += QStringLiteral("<h3>Share by priority</h3>") +
          Table({QStringLiteral("Priority"), QStringLiteral("Alarms"), QStringLiteral("Share")},
                priorities);
  return html;
}

}  // namespace telmon
