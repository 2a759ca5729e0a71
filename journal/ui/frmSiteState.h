#pragma once

// View > "Site State": everything left changed on the selected DAHS, by group, and edit mode.

#include <QWidget>

class QLabel;
class QTreeWidget;

namespace telmon {

class SiteStateModel;

class frmSiteState final : public QWidget {
  Q_OBJECT

 public:
  explicit frmSiteState(const SiteStateModel& state, QWidget* parent = nullptr);
  void Refresh();
  QTreeWidget* Tree() const { return tree_; }
  QLabel* lblEditMode() const { return lblEditMode_; }

 private:
  const SiteStateModel& state_;
  QLabel* lblEditMode_ = nullptr;
  QTreeWidget* tree_ = nullptr;
};

}  // namespace telmon
