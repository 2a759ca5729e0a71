#pragma once

// View > "Site State": everything left changed on the selected DAHS, by group, and edit mode.

#include <QStringList>
#include <QWidget>

#include <functional>
#include <vector>

class QLabel;
class QTreeWidget;

namespace telmon {

class SiteStateModel;

class frmSiteState final : public QWidget {
  Q_OBJECT

 public:
  explicit frmSiteState(const SiteStateModel& state, QWidget* parent = nullptr);
  void Refresh();
  // A group of rows (ID, name, state) that another part keeps, shown after the model's own.
  using ExtraRows = std::function<std::vector<QStringList>()>;
  void SetExtraGroup(const QString& title, ExtraRows rows);
  QTreeWidget* Tree() const { return tree_; }
  QLabel* lblEditMode() const { return lblEditMode_; }

 private:
  const SiteStateModel& state_;
  QLabel* lblEditMode_ = nullptr;
  QLabel* lblElsewhere_ = nullptr;
  QTreeWidget* tree_ = nullptr;
  QString extraTitle_;
  ExtraRows extraRows_;
};

}  // namespace telmon
