#include "alarms/ui/AlarmsPage.h"

#include "alarms/AlarmOperations.h"
#include "views/ui/ListFilterEdit.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

namespace telmon {

AlarmsPage::AlarmsPage(KeyedListModel& alarms, QWidget* parent)
    : QWidget(parent),
      lsvAlarms_(new KeyedListView(this)),
      shelveTime_(new QComboBox(this)),
      note_(new QLabel(this)) {
  lsvAlarms_->setObjectName(QStringLiteral("lsvAlarms"));
  lsvAlarms_->SetListModel(&alarms);
  lsvAlarms_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  auto* filter = new ListFilterEdit(this);
  filter->setObjectName(QStringLiteral("txtFilterAlarms"));
  filter->Attach(lsvAlarms_);
  shelveTime_->setObjectName(QStringLiteral("cboShelveTime"));
  for (const int minutes : AlarmOperations::ShelveChoices()) {
    shelveTime_->addItem(AlarmOperations::DurationText(minutes), minutes);
  }
  shelveTime_->setCurrentIndex(1);
  note_->setObjectName(QStringLiteral("lblAlarmsNote"));
  note_->setWordWrap(true);
  note_->setVisible(false);

  auto* buttons = new QHBoxLayout;
  connect(AddButton(QStringLiteral("cmdAcknowledge"), QStringLiteral("Acknowledge")),
          &QPushButton::clicked, this, &AlarmsPage::AcknowledgeClicked);
  connect(AddButton(QStringLiteral("cmdAcknowledgeShown"), QStringLiteral("Acknowledge All Shown")),
          &QPushButton::clicked, this, &AlarmsPage::AcknowledgeShownClicked);
  connect(AddButton(QStringLiteral("cmdShelve"), QStringLiteral("Shelve For")),
          &QPushButton::clicked, this, &AlarmsPage::ShelveClicked);
  connect(AddButton(QStringLiteral("cmdSilence"), QStringLiteral("Silence")), &QPushButton::clicked,
          this, &AlarmsPage::SilenceClicked);
  connect(AddButton(QStringLiteral("cmdStatistics"), QStringLiteral("Statistics...")),
          &QPushButton::clicked, this, &AlarmsPage::StatisticsClicked);
  for (QPushButton* b : buttons_) {
    buttons->addWidget(b);
    if (b->objectName() == QLatin1String("cmdShelve")) {
      buttons->addWidget(shelveTime_);
    }
  }
  buttons->addStretch(1);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(filter);
  layout->addWidget(note_);
  layout->addWidget(lsvAlarms_, 1);
  layout->addLayout(buttons);
}

QPushButton* AlarmsPage::AddButton(const QString& name, const QString& caption) {
  auto* b = new QPushButton(caption, this);
  b->setObjectName(name);
  buttons_.append(b);
  return b;
}

QPushButton* AlarmsPage::Button(const QString& name) const {
  for (QPushButton* b : buttons_) {
    if (b->objectName() == name) {
      return b;
    }
  }
  return nullptr;
}

QStringList AlarmsPage::SelectedKeys() const {
  QList<int> rows;
  for (const QModelIndex& index : lsvAlarms_->selectionModel()->selectedRows()) {
    rows.append(index.row());
  }
  std::sort(rows.begin(), rows.end());
  QStringList keys;
  for (const int row : rows) {
    keys.append(lsvAlarms_->model()->index(row, 0).data(KeyedListModel::KeyRole).toString());
  }
  return keys;
}

QStringList AlarmsPage::ShownKeys() const {
  QStringList keys;
  const QAbstractItemModel* shown = lsvAlarms_->model();
  for (int row = 0; row < shown->rowCount(); ++row) {
    keys.append(shown->index(row, 0).data(KeyedListModel::KeyRole).toString());
  }
  return keys;
}

int AlarmsPage::ShelveMinutes() const { return shelveTime_->currentData().toInt(); }

void AlarmsPage::SetNote(const QString& text) {
  note_->setText(text);
  note_->setVisible(!text.isEmpty());
}

}  // namespace telmon
