#include "journal/ui/frmSiteState.h"

#include "journal/SiteStateModel.h"

#include <QHeaderView>
#include <QLabel>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <map>

namespace telmon {

frmSiteState::frmSiteState(const SiteStateModel& state, QWidget* parent)
    : QWidget(parent), state_(state) {
  setWindowTitle(QStringLiteral("Site State"));
  lblEditMode_ = new QLabel(this);
  lblEditMode_->setObjectName(QStringLiteral("lblEditMode"));
  lblElsewhere_ = new QLabel(this);
  lblElsewhere_->setObjectName(QStringLiteral("lblEditModeElsewhere"));
  lblElsewhere_->setWordWrap(true);
  tree_ = new QTreeWidget(this);
  tree_->setObjectName(QStringLiteral("tvwSiteState"));
  tree_->setHeaderLabels({QStringLiteral("ID"), QStringLiteral("Name"), QStringLiteral("State")});
  tree_->setColumnWidth(0, 230);
  tree_->setColumnWidth(1, 220);
  tree_->setUniformRowHeights(true);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lblEditMode_);
  layout->addWidget(lblElsewhere_);
  layout->addWidget(tree_, 1);
  resize(760, 460);
  Refresh();
}

void frmSiteState::Refresh() {
  const QString since = state_.EditModeSince().isValid()
                            ? QStringLiteral(" since ") + state_.EditModeSince().toString(
                                                              QStringLiteral("yyyy-MM-dd HH:mm:ss"))
                            : QString();
  lblEditMode_->setText(QStringLiteral("Edit mode: ") +
                        (state_.EditMode() ? QStringLiteral("on") : QStringLiteral("off")) + since);
  lblElsewhere_->setText(state_.EditModeElsewhereText());
  lblElsewhere_->setVisible(!lblElsewhere_->text().isEmpty());
  tree_->clear();
  std::map<SiteStateModel::Group, QTreeWidgetItem*> groups;
  for (const auto group :
       {SiteStateModel::Group::RandomDevice, SiteStateModel::Group::WatchdogNotOk,
        SiteStateModel::Group::ForcedChannel, SiteStateModel::Group::WrittenChannel}) {
    auto* item = new QTreeWidgetItem(tree_, {SiteStateModel::GroupTitle(group)});
    item->setFirstColumnSpanned(true);
    groups[group] = item;
  }
  for (const SiteStateModel::Item& entry : state_.Items()) {
    new QTreeWidgetItem(groups[entry.group], {QString::number(entry.id), entry.name, entry.detail});
  }
  for (const auto& [group, item] : groups) {
    item->setText(
        0, SiteStateModel::GroupTitle(group) + QStringLiteral(" (%1)").arg(item->childCount()));
    item->setExpanded(true);
  }
  if (extraRows_) {
    const std::vector<QStringList> rows = extraRows_();
    auto* extra = new QTreeWidgetItem(
        tree_, {extraTitle_ + QStringLiteral(" (%1)").arg(static_cast<int>(rows.size()))});
    extra->setFirstColumnSpanned(true);
    for (const QStringList& row : rows) {
      new QTreeWidgetItem(extra, row);
    }
    extra->setExpanded(true);
  }
}

void frmSiteState::SetExtraGroup(const QString& title, ExtraRows rows) {
  extraTitle_ = title;
  extraRows_ = std::move(rows);
  Refresh();
}

}  // namespace telmon
