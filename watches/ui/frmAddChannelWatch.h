#pragma once

// "Add Channel Watch": the operator picks channels from a list, types or loads channel IDs,
// or picks address blocks. Modal; it hides itself on OK and Cancel and stays loaded, so the
// chosen tab, typed text and check boxes are there again next time.

#include "platform/Prompter.h"
#include "watches/AddChannelWatchLogic.h"
#include "watches/IWatchDialogs.h"

#include <QDialog>

#include <array>

class QCheckBox;
class QLayout;
class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPushButton;
class QTabBar;

namespace telmon {
class ListFilterEdit;
}

namespace telmon {

class BlockListviewManager;
class ChannelConfigInfoManager;
class KeyedListModel;

struct AddChannelWatchSources {
  const ChannelConfigInfoManager* configs = nullptr;
  const BlockListviewManager* blocks = nullptr;  // answers the HDR and disabled questions
  KeyedListModel* blocksModel = nullptr;         // the Blocks page, for the block list
  Prompter* prompter = nullptr;
  QString appTitle;
};

class frmAddChannelWatch : public QDialog {
  Q_OBJECT

 public:
  explicit frmAddChannelWatch(AddChannelWatchSources sources, QWidget* parent = nullptr);

  // Shows the dialog modally and returns what the operator chose.
  AddChannelChoice Run();
  // The results of the last use.
  bool OK() const { return ok_; }
  bool Blocks() const { return blocks_; }
  // The chosen IDs, and the same joined by ";".
  const IdList& IDs() const { return ids_; }
  QString IDList() const { return JoinIds(ids_); }

  // Refills both channel lists from the configuration records; shown on load, when "Show all
  // channels" changes, and when the records changed since the last fill.
  void FillChannelLists();
  void FillBlockList();

  void cmdOK_Click();
  void cmdCancel_Click();
  void cmdLoadChannelIDs_Click();

  QTabBar* TabStripAdd() const { return TabStripAdd_; }
  QListWidget* lstChannels() const { return lstChannels_; }
  QListWidget* lstChannelsEx() const { return lstChannelsEx_; }
  QListWidget* lstBlocks() const { return lstBlocks_; }
  QCheckBox* chkUseExtendedSelect() const { return chkUseExtendedSelect_; }
  QCheckBox* chkShowAllChannels() const { return chkShowAllChannels_; }
  QLineEdit* txtChanIDs() const { return txtChanIDs_; }
  ListFilterEdit* txtFilterChannels() const { return txtFilterChannels_; }

 protected:
  void reject() override;

 private:
  QLayout* BuildButtons();
  QWidget* BuildChannelsFrame();
  QWidget* BuildChannelIdsFrame();
  QWidget* BuildBlocksFrame();
  void OnTabChanged(int index);
  void OnExtendedSelectChanged();
  QListWidget* ActiveChannelList() const;
  bool OkWithList(QListWidget* list, bool blocks);
  void Accept(IdList ids, bool blocks);
  static IdList CollectSelection(QListWidget* list);
  void Exclaim(const QString& text);

  AddChannelWatchSources sources_;
  bool ok_ = false;
  bool blocks_ = false;
  IdList ids_;
  std::size_t filledFromCount_ = 0;

  QTabBar* TabStripAdd_ = nullptr;
  std::array<QWidget*, 3> fraAdd_{};
  QListWidget* lstChannels_ = nullptr;
  QListWidget* lstChannelsEx_ = nullptr;
  QListWidget* lstBlocks_ = nullptr;
  QCheckBox* chkUseExtendedSelect_ = nullptr;
  QCheckBox* chkShowAllChannels_ = nullptr;
  QLineEdit* txtChanIDs_ = nullptr;
  ListFilterEdit* txtFilterChannels_ = nullptr;
};

}  // namespace telmon
