#include "watches/ui/frmAddChannelWatch.h"

#include "util/ErrorInfo.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/ui/ListFilterEdit.h"
#include "watches/ChannelTagFile.h"

#include <QCheckBox>
#include <QDir>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTabBar>
#include <QVBoxLayout>

namespace telmon {

namespace {

QListWidget* NewList(const char* name, QAbstractItemView::SelectionMode mode, QWidget* parent) {
  auto* list = new QListWidget(parent);
  list->setObjectName(QLatin1String(name));
  list->setSelectionMode(mode);
  list->setUniformItemSizes(true);
  return list;
}

void FillList(QListWidget* list, const std::vector<ListEntry>& entries) {
  list->setUpdatesEnabled(false);
  list->clear();
  for (const ListEntry& entry : entries) {
    auto* item = new QListWidgetItem(entry.text);
    item->setData(Qt::UserRole, entry.id);
    list->addItem(item);  // the list owns the item
  }
  list->setUpdatesEnabled(true);
}

QString FailureText(const char* code) {
  const ErrorInfo info = CurrentErrorInfo();
  return QLatin1String(code) + QString::number(info.number) + QStringLiteral(", ") +
         info.description;
}

}  // namespace

frmAddChannelWatch::frmAddChannelWatch(AddChannelWatchSources sources, QWidget* parent)
    : QDialog(parent), sources_(std::move(sources)) {
  setObjectName(QStringLiteral("frmAddChannelWatch"));
  setWindowTitle(QStringLiteral("Add Channel Watch"));
  setModal(true);
  TabStripAdd_ = new QTabBar(this);
  TabStripAdd_->setObjectName(QStringLiteral("TabStripAdd"));
  const char* const keys[] = {"Channels", "ChannelIDs", "Blocks"};
  const QString captions[] = {QStringLiteral("Channel List"), QStringLiteral("Channel IDs"),
                              QStringLiteral("Block List")};
  for (int i = 0; i < 3; ++i) {
    TabStripAdd_->setTabData(TabStripAdd_->addTab(captions[i]), QLatin1String(keys[i]));
  }
  fraAdd_ = {BuildChannelsFrame(), BuildChannelIdsFrame(), BuildBlocksFrame()};

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(TabStripAdd_);
  for (QWidget* frame : fraAdd_) {
    layout->addWidget(frame, 1);
  }
  layout->addLayout(BuildButtons());
  resize(460, 420);

  try {
    FillChannelLists();
    FillBlockList();
  } catch (...) {
    Exclaim(FailureText("TELM-0044: "));
  }
  connect(TabStripAdd_, &QTabBar::currentChanged, this, &frmAddChannelWatch::OnTabChanged);
  OnTabChanged(TabStripAdd_->currentIndex());
  OnExtendedSelectChanged();
}

QLayout* frmAddChannelWatch::BuildButtons() {
  auto* cmdOK = new QPushButton(QStringLiteral("OK"), this);
  cmdOK->setObjectName(QStringLiteral("cmdOK"));
  cmdOK->setDefault(true);
  auto* cmdCancel = new QPushButton(QStringLiteral("&Cancel"), this);
  cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
  connect(cmdOK, &QPushButton::clicked, this, &frmAddChannelWatch::cmdOK_Click);
  connect(cmdCancel, &QPushButton::clicked, this, &frmAddChannelWatch::cmdCancel_Click);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(cmdOK);
  buttons->addWidget(cmdCancel);
  return buttons;
}

QWidget* frmAddChannelWatch::BuildChannelsFrame() {
  auto* frame = new QWidget(this);
  frame->setObjectName(QStringLiteral("fraAdd1"));
  lstChannels_ = NewList("lstChannels", QAbstractItemView::MultiSelection, frame);
  lstChannelsEx_ = NewList("lstChannelsEx", QAbstractItemView::ExtendedSelection, frame);
  chkUseExtendedSelect_ =
      new QCheckBox(QStringLiteral("Use extended selection mode (Shift and Control keys)"), frame);
  chkUseExtendedSelect_->setObjectName(QStringLiteral("chkUseExtendedSelect"));
  chkShowAllChannels_ = new QCheckBox(QStringLiteral("Show all channels"), frame);
  chkShowAllChannels_->setObjectName(QStringLiteral("chkShowAllChannels"));
  chkShowAllChannels_->setToolTip(
      QStringLiteral("Shows CGA/linearity, HDR, and disabled channels"));
  auto* layout = new QVBoxLayout(frame);
  layout->addWidget(new QLabel(QStringLiteral("Select one or more channels:"), frame));
  txtFilterChannels_ = new ListFilterEdit(frame);
  txtFilterChannels_->setObjectName(QStringLiteral("txtFilterChannels"));
  txtFilterChannels_->Attach(lstChannels_);
  txtFilterChannels_->Attach(lstChannelsEx_);
  layout->addWidget(txtFilterChannels_);
  layout->addWidget(lstChannels_, 1);
  layout->addWidget(lstChannelsEx_, 1);
  layout->addWidget(chkUseExtendedSelect_);
  layout->addWidget(chkShowAllChannels_);
  connect(chkUseExtendedSelect_, &QCheckBox::toggled, this,
          &frmAddChannelWatch::OnExtendedSelectChanged);
  connect(chkShowAllChannels_, &QCheckBox::toggled, this, &frmAddChannelWatch::FillChannelLists);
  connect(lstChannels_, &QListWidget::itemDoubleClicked, this, &frmAddChannelWatch::cmdOK_Click);
  return frame;
}

QWidget* frmAddChannelWatch::BuildChannelIdsFrame() {
  auto* frame = new QWidget(this);
  frame->setObjectName(QStringLiteral("fraAdd2"));
  txtChanIDs_ = new QLineEdit(frame);
  txtChanIDs_->setObjectName(QStringLiteral("txtChanIDs"));
  // The box holds every tag file the loader accepts; the toolkit's default (32,767 characters)
  // would cut a long saved watch list short without a word.
  txtChanIDs_->setMaxLength(static_cast<int>(kMaxChannelTagFileBytes));
  auto* cmdLoad = new QPushButton(QStringLiteral("Load Channel IDs From File"), frame);
  cmdLoad->setObjectName(QStringLiteral("cmdLoadChannelIDs"));
  auto* cmdClear = new QPushButton(QStringLiteral("Clear"), frame);
  cmdClear->setObjectName(QStringLiteral("cmdClearChanIDs"));
  connect(cmdLoad, &QPushButton::clicked, this, &frmAddChannelWatch::cmdLoadChannelIDs_Click);
  connect(cmdClear, &QPushButton::clicked, txtChanIDs_, &QLineEdit::clear);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(cmdLoad);
  buttons->addWidget(cmdClear);
  buttons->addStretch(1);
  auto* layout = new QVBoxLayout(frame);
  layout->addWidget(new QLabel(QStringLiteral("Channels IDs to add:"), frame));
  layout->addWidget(txtChanIDs_);
  layout->addWidget(
      new QLabel(QStringLiteral("Example: 11120, 11121, 10910-10915, 10922, u0007"), frame));
  layout->addLayout(buttons);
  layout->addStretch(1);
  return frame;
}

QWidget* frmAddChannelWatch::BuildBlocksFrame() {
  auto* frame = new QWidget(this);
  frame->setObjectName(QStringLiteral("fraAdd3"));
  lstBlocks_ = NewList("lstBlocks", QAbstractItemView::MultiSelection, frame);
  auto* layout = new QVBoxLayout(frame);
  layout->addWidget(new QLabel(QStringLiteral("Select one or more blocks:"), frame));
  layout->addWidget(lstBlocks_, 1);
  connect(lstBlocks_, &QListWidget::itemDoubleClicked, this, &frmAddChannelWatch::cmdOK_Click);
  return frame;
}

void frmAddChannelWatch::FillChannelLists() {
  if (sources_.configs == nullptr) {
    return;
  }
  const ChannelListEntries filled =
      BuildChannelListEntries(*sources_.configs, sources_.blocks, chkShowAllChannels_->isChecked());
  FillList(lstChannels_, filled.entries);
  FillList(lstChannelsEx_, filled.entries);
  FilterListWidget(lstChannels_, txtFilterChannels_->text());
  FilterListWidget(lstChannelsEx_, txtFilterChannels_->text());
  filledFromCount_ = sources_.configs->Count();
  if (filled.truncated) {
    Exclaim(QStringLiteral("TELM-0043: The listbox only shows the first 32,767 channels."));
  }
}

void frmAddChannelWatch::FillBlockList() {
  if (sources_.blocksModel != nullptr) {
    FillList(lstBlocks_, BuildBlockListEntries(*sources_.blocksModel));
  }
}

AddChannelChoice frmAddChannelWatch::Run() {
  ok_ = false;
  if (sources_.configs != nullptr && sources_.configs->Count() != filledFromCount_) {
    FillChannelLists();
  }
  FillBlockList();
  exec();
  return AddChannelChoice{ok_, blocks_, ids_};
}

void frmAddChannelWatch::OnTabChanged(int index) {
  for (std::size_t i = 0; i < fraAdd_.size(); ++i) {
    fraAdd_.at(i)->setVisible(static_cast<int>(i) == index);
  }
}

void frmAddChannelWatch::OnExtendedSelectChanged() {
  const bool extended = chkUseExtendedSelect_->isChecked();
  lstChannels_->setVisible(!extended);
  lstChannelsEx_->setVisible(extended);
}

QListWidget* frmAddChannelWatch::ActiveChannelList() const {
  return chkUseExtendedSelect_->isChecked() ? lstChannelsEx_ : lstChannels_;
}

void frmAddChannelWatch::cmdOK_Click() {
  switch (TabStripAdd_->currentIndex()) {
    case 0:
      OkWithList(ActiveChannelList(), false);
      break;
    case 1:
      try {
        if (std::optional<IdList> ids =
                TypedIdsToIds(txtChanIDs_->text(), *sources_.prompter, sources_.appTitle)) {
          Accept(std::move(*ids), false);
        }
      } catch (...) {
        Exclaim(FailureText("TELM-0042: "));
      }
      break;
    default:
      OkWithList(lstBlocks_, true);
      break;
  }
}

bool frmAddChannelWatch::OkWithList(QListWidget* list, bool blocks) {
  IdList ids = CollectSelection(list);
  if (ids.empty()) {
    sources_.prompter->Beep();
    list->setFocus();
    return false;
  }
  Accept(std::move(ids), blocks);
  return true;
}

void frmAddChannelWatch::Accept(IdList ids, bool blocks) {
  ids_ = std::move(ids);
  ok_ = true;
  blocks_ = blocks;
  hide();
  done(QDialog::Accepted);
}

// The selected items in list order, which are then deselected. An item the filter hides is
// never taken, even when a select-all reached it.
IdList frmAddChannelWatch::CollectSelection(QListWidget* list) {
  qsizetype left = list->selectedItems().size();
  IdList ids;
  for (int i = 0; i < list->count() && left > 0; ++i) {
    QListWidgetItem* item = list->item(i);
    if (!item->isSelected()) {
      continue;
    }
    --left;
    item->setSelected(false);
    if (item->isHidden()) {
      continue;
    }
    ids.push_back(item->data(Qt::UserRole).toInt());
  }
  return ids;
}

void frmAddChannelWatch::cmdCancel_Click() { reject(); }

void frmAddChannelWatch::reject() {
  for (QListWidget* list : {lstChannels_, lstChannelsEx_, lstBlocks_}) {
    list->clearSelection();
  }
  ok_ = false;
  QDialog::reject();
}

void frmAddChannelWatch::cmdLoadChannelIDs_Click() {
  try {
    FileDialogRequest request;
    request.title = QStringLiteral("Open Channel Tag File");
    request.filter = QStringLiteral("All files (*.*)|*.*");
    request.defaultExtension = QStringLiteral("txt");
    // The top of the operator's own files, always, rather than wherever a dialog was last.
    request.initialFolder = QDir::homePath();
    const QString fileName = sources_.prompter->OpenFileName(request).value_or(QString());
    const ChannelTagFileRead read = ReadChannelTagFile(fileName);
    if (read.status == ChannelTagFileRead::Status::Failed) {
      throw TelmonError(read.errorNumber, read.errorDescription);
    }
    if (read.status == ChannelTagFileRead::Status::Ok) {
      txtChanIDs_->setText(read.text);
    }
  } catch (...) {
    Exclaim(FailureText("TELM-0083: "));
  }
}

void frmAddChannelWatch::Exclaim(const QString& text) {
  sources_.prompter->Show(text, sources_.appTitle, PromptIcon::Exclamation);
}

}  // namespace telmon
