#pragma once

// The alarm statistics window: a bar per 10-minute slot over the last 24 hours (floods in
// red), then the chattering and stale alarms, the ten most frequent sources and the share of
// each priority. "Refresh" works them out again.

#include "alarms/AlarmStatistics.h"

#include <QWidget>

#include <functional>
#include <optional>

class QLabel;
class QTextBrowser;

namespace telmon {

// The bars; a flood slot is red, the others blue.
class AlarmRateChart : public QWidget {
  Q_OBJECT

 public:
  explicit AlarmRateChart(QWidget* parent = nullptr);
  void SetStatistics(const AlarmStatistics& statistics);
  QSize sizeHint() const override { return {760, 200}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  AlarmStatistics statistics_;
};

class frmAlarmStatistics : public QWidget {
  Q_OBJECT

 public:
  // `compute` works the statistics out, or gives the reason it could not.
  using Compute = std::function<std::optional<AlarmStatistics>(QString* error)>;
  explicit frmAlarmStatistics(Compute compute, QWidget* parent = nullptr);

  void Refresh();
  QString ReportHtml() const;
  QString Summary() const;

  static QString Html(const AlarmStatistics& s);
  static QString SummaryText(const AlarmStatistics& s);

 private:
  Compute compute_;
  AlarmRateChart* chart_;
  QLabel* summary_;
  QTextBrowser* report_;
};

}  // namespace telmon
