#pragma once

// The tab strip and its page frames. Only the current page's frame is visible; a click acts
// only once start-up has finished, and a click on the shown tab changes nothing.

#include <QWidget>

#include <vector>

class QTabBar;

namespace telmon {

class TabFrames : public QWidget {
  Q_OBJECT

 public:
  explicit TabFrames(QWidget* parent = nullptr);

  // Adds a tab with its frame; `key` may be empty.
  void AddPage(const QString& caption, const QString& key, QWidget* frame);
  QTabBar* tabstripTELM() const { return tabs_; }
  // Header space beside the tab strip (txtNotPolling stands there).
  QWidget* Beside() const { return beside_; }
  // Lays `widget` out in the header space, so that it gets its size whenever it is shown.
  void AddBeside(QWidget* widget);

  // Selects the first tab, places and hides every frame, sets the started flag and shows the
  // first page's frame.
  void Finalize();
  int CurrentPageIndex() const { return current_; }
  QWidget* Frame(int index) const;
  void SelectTab(int index);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void OnTabClick();
  void PlaceFrames();

  QTabBar* tabs_;
  QWidget* beside_;
  QWidget* host_;
  std::vector<QWidget*> frames_;
  int current_ = 0;
  bool started_ = false;
};

}  // namespace telmon
