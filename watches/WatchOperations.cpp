#include "watches/WatchOperations.h"

#include "ioslink/IosCommands.h"
#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"
#include "views/ChannelListviewManager.h"
#include "views/KeyedListModel.h"
#include "watches/ChannelTagFile.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QVariant>

namespace telmon {

namespace {

// Restores the main window's pointer however the add operation ends.
class BusyPointer {
 public:
  explicit BusyPointer(IWatchDialogs& dialogs) : dialogs_(dialogs) { dialogs_.SetMainBusy(true); }
  ~BusyPointer() { dialogs_.SetMainBusy(false); }
  BusyPointer(const BusyPointer&) = delete;
  BusyPointer& operator=(const BusyPointer&) = delete;

 private:
  IWatchDialogs& dialogs_;
};

bool IsChannelTag(const QString& tag) { return WatchRowKindOf(tag) == WatchRowKind::Channel; }
bool IsAddressTag(const QString& tag) { return WatchRowKindOf(tag) == WatchRowKind::Address; }
QString ChannelIdOf(const QString& tag) {
  QString id;
  WatchRowKindOf(tag, &id);
  return id;
}

}  // namespace

WatchOperations::WatchOperations(WatchServices services, ChannelListviewManager& channels)
    : services_(std::move(services)), channels_(channels) {}

KeyedListModel& WatchOperations::Watches() const {
  KeyedListModel* lsv = channels_.Lsv();
  if (lsv == nullptr) {
    throw TelmonError(ErrorNumber::ObjectRequired, QStringLiteral("Object required"));
  }
  return *lsv;
}

void WatchOperations::ShowFailure(const QString& prefix) {
  const ErrorInfo info = CurrentErrorInfo();
  services_.prompter.Show(
      prefix + QString::number(info.number) + QStringLiteral(", ") + info.description,
      services_.appTitle, PromptIcon::Exclamation);
}

void WatchOperations::AddChannel() {
  BusyPointer busy(services_.dialogs);
  try {
    const AddChannelChoice choice = services_.dialogs.ShowAddChannelWatch();
    if (choice.ok) {
      AddChosen(choice);
    }
  } catch (...) {
    ShowFailure(QStringLiteral("TELM-0001: "));
  }
}

void WatchOperations::AddChosen(const AddChannelChoice& choice) {
  if (choice.blocks) {
    // The joined text goes to the block path as it is; that path wants a list of block IDs,
    // refuses the text and reports it itself, adding no rows.
    channels_.AddLsvRowsForBlockIDListValue(QVariant(choice.IDList()));
  } else {
    channels_.AddLsvRowsForChannelIDs(choice.ids);
  }
}

void WatchOperations::AddPlcAddress() {
  services_.prompter.Show(QStringLiteral("Not implemented."), services_.appTitle,
                          PromptIcon::Exclamation);
}

void WatchOperations::ChangeValue(const WatchSelection& selection) {
  try {
    if (!services_.edit.EditsAllowed()) {
      services_.edit.AskWhetherUserWantsToEnableEditing();
      if (!services_.edit.EditsAllowed()) {
        return;
      }
    }
    if (selection.multiSelect) {
      ChangeSeveral(selection.selectedTags);
      return;
    }
    for (const QString& tag : selection.selectedTags) {
      if (IsChannelTag(tag)) {
        services_.valueDialogs.ShowChangeChanValue(ToInt32(ChannelIdOf(tag)).value_or(0));
      } else if (IsAddressTag(tag)) {
        ChangeAddressValue({tag});
      }
    }
  } catch (...) {
    ShowFailure(QStringLiteral("TELM-0012: "));
  }
}

void WatchOperations::ChangeSeveral(const QStringList& selectedTags) {
  QStringList channels;
  QStringList addresses;
  for (const QString& tag : selectedTags) {
    if (IsChannelTag(tag)) {
      channels.push_back(ChannelIdOf(tag));
    } else if (IsAddressTag(tag)) {
      addresses.push_back(tag);
    }
  }
  if (!channels.isEmpty() && !addresses.isEmpty()) {
    services_.prompter.Show(QStringLiteral("Channels and addresses cannot be changed together."),
                            services_.appTitle, PromptIcon::Exclamation);
  } else if (channels.size() == 1) {
    services_.valueDialogs.ShowChangeChanValue(ToInt32(channels.front()).value_or(0));
  } else if (channels.size() > 1) {
    QString list;
    for (const QString& id : channels) {
      list += QLatin1Char('\t') + id;
    }
    services_.valueDialogs.ShowChangeChanValues(list);
  } else if (addresses.size() > 1) {
    ChangeAddressValue(addresses);
  }
  // Nothing selected, or one address alone: nothing, deliberately without a message.
}

void WatchOperations::ChangeAddressValue(const QStringList& /*addressTags*/) {}

void WatchOperations::Remove() {
  KeyedListModel& lsv = Watches();
  const KeyedListModel::RowRef current = lsv.Selected();
  if (current == nullptr) {
    return;
  }
  const QString tag = lsv.Tag(current);
  if (IsChannelTag(tag) || IsAddressTag(tag)) {
    lsv.RemoveRow(current);
  }
}

void WatchOperations::RemoveAll() {
  KeyedListModel& lsv = Watches();
  while (!lsv.IsEmpty()) {
    const KeyedListModel::RowRef first = lsv.RowAt(0);
    lsv.Select(first);
    Remove();
    if (lsv.RowCount() > 0 && lsv.RowAt(0) == first) {
      return;  // a row that is neither channel nor address stays; never loop on it
    }
  }
}

QString WatchOperations::CopyText(const QString& pageKey, const CopyableLists& lists) {
  KeyedListModel* list = nullptr;
  if (pageKey == QLatin1String("Devices")) {
    list = lists.devices;
  } else if (pageKey == QLatin1String("Queues")) {
    list = lists.queues;
  } else if (pageKey == QLatin1String("Blocks")) {
    list = lists.blocks;
  } else if (pageKey == QLatin1String("Channels")) {
    list = lists.channels;
  }
  if (list == nullptr || list->IsEmpty()) {
    return {};
  }
  return ListClipboardText(*list);
}

void WatchOperations::CopyDataToClipboard(const QString& pageKey, const CopyableLists& lists) {
  const QString text = CopyText(pageKey, lists);
  if (text.isEmpty()) {
    return;
  }
  QClipboard* clipboard = QGuiApplication::clipboard();
  clipboard->clear();
  clipboard->setText(text);
}

void WatchOperations::SaveChannelTagsToFile() {
  try {
    const QString text = ChannelTagsText(Watches());
    FileDialogRequest request;
    request.title = QStringLiteral("Save Channel Tags To File");
    request.filter = QStringLiteral("Files (*.txt)|*.txt");
    request.defaultExtension = QStringLiteral("txt");
    request.promptOverwrite = true;
    request.requireExistingFolder = true;
    const QString fileName = services_.prompter.SaveFileName(request).value_or(QString());
    if (fileName.isEmpty()) {
      return;
    }
    QString error;
    if (!WriteChannelTagFile(fileName, text, &error)) {
      throw TelmonError(75, error);
    }
  } catch (...) {
    ShowFailure(QStringLiteral("TELM-0084: "));
  }
}

void WatchOperations::ReadAllData() {
  try {
    services_.sender.SendCommand(IosCommands::RefreshAllData());
  } catch (...) {
    ShowFailure(QStringLiteral("TELM-0013: Error "));
  }
}

void WatchOperations::LoadSaveChannelList() {
  try {
    services_.dialogs.ShowWatchLists();
  } catch (...) {
    ShowFailure(QStringLiteral("TELM-0011: "));
  }
}

}  // namespace telmon
