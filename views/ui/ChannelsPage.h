#pragma once

// The Channels/Addresses page: the watch toolbar and the watch list. Each toolbar button only
// announces itself; the main window routes it to the menu command of the same purpose so that
// button and menu always behave alike.

#include "views/ui/KeyedListView.h"

#include <QAction>
#include <QToolBar>
#include <QWidget>

namespace telmon {

class ChannelsPage : public QWidget {
  Q_OBJECT

 public:
  explicit ChannelsPage(KeyedListModel& channels, QWidget* parent = nullptr);

  KeyedListView* lsvChannels() const { return lsvChannels_; }
  QToolBar* toolbarChannels() const { return toolbarChannels_; }
  // The selected rows' tags in list order; the list allows several rows to be selected.
  QStringList SelectedTags() const;
  bool MultiSelect() const;
  // The button with the key ("1DecPlace", "AddWatch", ...); null for an unknown key.
  QAction* Button(const QString& key) const;

 Q_SIGNALS:
  void OneDecPlaceToggled(bool checked);
  void AddWatchClicked();
  void AddAddressClicked();
  void RemoveAllWatchesClicked();
  void ChangeValueClicked();
  void RefreshBlocksClicked();
  void MessagesClicked();
  void SaveIOListClicked();
  void TrendsClicked();

 private:
  QAction* AddButton(const char* key, const QString& caption, const QString& toolTip);

  QToolBar* toolbarChannels_;
  KeyedListView* lsvChannels_;
};

}  // namespace telmon
