#pragma once

// The commands of the Channels/Addresses menu, its toolbar twins, Edit > Copy and File > Read
// All Data: they fill, empty, export and act on the watch list. Each handler that guards
// against failures reports them once in a message box with its code and leaves the list as
// it was.

#include "ioslink/ICommandSender.h"
#include "platform/Prompter.h"
#include "views/IEditGate.h"
#include "watches/IChangeValueDialogs.h"
#include "watches/IWatchDialogs.h"

#include <QString>
#include <QStringList>

namespace telmon {

class ChannelListviewManager;
class KeyedListModel;

struct WatchServices {
  Prompter& prompter;
  ICommandSender& sender;
  IEditGate& edit;
  IChangeValueDialogs& valueDialogs;
  IWatchDialogs& dialogs;
  QString appTitle;
};

// The lists Edit > Copy can copy, by the key of the main window's page.
struct CopyableLists {
  KeyedListModel* devices = nullptr;
  KeyedListModel* queues = nullptr;
  KeyedListModel* blocks = nullptr;
  KeyedListModel* channels = nullptr;
};

// The watch list's selection as the change-value command sees it.
struct WatchSelection {
  bool multiSelect = false;
  QStringList selectedTags;  // tags of the selected rows, in list order
};

class WatchOperations {
 public:
  WatchOperations(WatchServices services, ChannelListviewManager& channels);

  void AddChannel();
  void AddPlcAddress();
  void ChangeValue(const WatchSelection& selection);
  // Changing an address watch's value is not available; it does nothing.
  void ChangeAddressValue(const QStringList& addressTags);
  void Remove();
  void RemoveAll();
  // The text put on the clipboard for the page; empty when nothing is copied.
  static QString CopyText(const QString& pageKey, const CopyableLists& lists);
  // Puts CopyText on the clipboard, leaving it untouched when there is nothing to copy.
  static void CopyDataToClipboard(const QString& pageKey, const CopyableLists& lists);
  void SaveChannelTagsToFile();
  void ReadAllData();
  void LoadSaveChannelList();

 private:
  KeyedListModel& Watches() const;
  void ShowFailure(const QString& prefix);
  void AddChosen(const AddChannelChoice& choice);
  void ChangeSeveral(const QStringList& selectedTags);

  WatchServices services_;
  ChannelListviewManager& channels_;
};

}  // namespace telmon
