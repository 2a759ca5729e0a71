#pragma once

// The "Active Alarms" page: the filter box, the alarm list lsvAlarms and the buttons that act
// on it. The page only shows and asks; the feature behind it does the work.

#include "views/ui/KeyedListView.h"

#include <QStringList>
#include <QWidget>

class QComboBox;
class QLabel;
class QPushButton;

namespace telmon {

class AlarmsPage : public QWidget {
  Q_OBJECT

 public:
  explicit AlarmsPage(KeyedListModel& alarms, QWidget* parent = nullptr);

  KeyedListView* lsvAlarms() const { return lsvAlarms_; }
  // Keys of the rows selected in the list, in list order.
  QStringList SelectedKeys() const;
  // Keys of every row the filter shows, in list order.
  QStringList ShownKeys() const;
  // Minutes of the shelving time chosen.
  int ShelveMinutes() const;
  void SetNote(const QString& text);
  QPushButton* Button(const QString& name) const;
  QComboBox* ShelveTime() const { return shelveTime_; }

 Q_SIGNALS:
  void AcknowledgeClicked();
  void AcknowledgeShownClicked();
  void ShelveClicked();
  void SilenceClicked();
  void StatisticsClicked();

 private:
  QPushButton* AddButton(const QString& name, const QString& caption);

  KeyedListView* lsvAlarms_;
  QComboBox* shelveTime_;
  QLabel* note_;
  QList<QPushButton*> buttons_;
};

}  // namespace telmon
