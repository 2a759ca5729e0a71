#include "app/MainMenus.h"

#include "platform/ListExport.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>

namespace telmon {

namespace {

QAction* Item(QMenu* menu, const char* name, const QString& caption, bool checkable = false) {
  QAction* action = menu->addAction(caption);
  action->setObjectName(QLatin1String(name));
  action->setCheckable(checkable);
  return action;
}

QMenu* Menu(QMenuBar* bar, const char* name, const QString& caption) {
  QMenu* menu = bar->addMenu(caption);
  menu->setObjectName(QLatin1String(name));
  return menu;
}

}  // namespace

MainMenus MainMenus::Build(QMenuBar* bar, QObject* /*owner*/) {
  MainMenus m;
  m.mnuFile = Menu(bar, "mnuFile", QStringLiteral("&File"));
  m.mnuFile_ConnectToIOS =
      Item(m.mnuFile, "mnuFile_ConnectToIOS", QStringLiteral("Connect To I/O Server"));
  m.mnuFile_DisconnectFromIOS =
      Item(m.mnuFile, "mnuFile_DisconnectFromIOS", QStringLiteral("Disconnect From I/O Server"));
  m.mnuFile->addSeparator();
  m.mnuFile_RefreshAllLists = Item(m.mnuFile, "mnuFile_RefreshAllLists",
                                   QStringLiteral("&Update/Refresh All Info From I/O Server"));
  m.mnuFile_ReadAllData = Item(m.mnuFile, "mnuFile_ReadAllData", QStringLiteral("&Read All Data"));
  m.mnuFile->addSeparator();
  m.mnuFile_PrintScreen = Item(m.mnuFile, "mnuFile_PrintScreen", QStringLiteral("&Print Screen"));
  m.mnuFile_ExportList =
      Item(m.mnuFile, "mnuFile_ExportList", QString::fromLatin1(ExportListCaption));
  m.mnuFile->addSeparator();
  m.mnuFile_Exit = Item(m.mnuFile, "mnuFile_Exit", QStringLiteral("E&xit"));

  m.mnuEdit = Menu(bar, "mnuEdit", QStringLiteral("&Edit"));
  m.mnuEdit_AllowEdits =
      Item(m.mnuEdit, "mnuEdit_AllowEdits", QStringLiteral("Allow &Edits"), true);
  m.mnuEdit->addSeparator();
  m.mnuWatches_CopyWatchInfo =
      Item(m.mnuEdit, "mnuWatches_CopyWatchInfo", QStringLiteral("&Copy Data To Clipboard"));

  m.mnuWatches = Menu(bar, "mnuWatches", QStringLiteral("&Channels/Addresses"));
  m.mnuWatches_Add = Item(m.mnuWatches, "mnuWatches_Add", QStringLiteral("&Add Channel..."));
  m.mnuWatches_AddAddr =
      Item(m.mnuWatches, "mnuWatches_AddAddr", QStringLiteral("A&dd PLC Address..."));
  m.mnuWatches_Change = Item(m.mnuWatches, "mnuWatches_Change", QStringLiteral("&Change Value..."));
  m.mnuWatches_Remove = Item(m.mnuWatches, "mnuWatches_Remove", QStringLiteral("&Remove Channel"));
  m.mnuWatches_RemoveAll =
      Item(m.mnuWatches, "mnuWatches_RemoveAll", QStringLiteral("Remove All Channels"));
  m.mnuWatches->addSeparator();
  m.mnuWatches_1DecPlace =
      Item(m.mnuWatches, "mnuWatches_1DecPlace", QStringLiteral("Display &1 Decimal Place"), true);
  m.mnuWatches->addSeparator();
  m.mnuFile_List = Item(m.mnuWatches, "mnuFile_List", QStringLiteral("&Load/Save Channel List..."));

  m.mnuView = Menu(bar, "mnuView", QStringLiteral("&View"));
  m.mnuView_Messages = Item(m.mnuView, "mnuView_Messages", QStringLiteral("&Messages"));
  m.mnuView_Journal = Item(m.mnuView, "mnuView_Journal", QStringLiteral("Operator Journal"));
  m.mnuView_SiteState = Item(m.mnuView, "mnuView_SiteState", QStringLiteral("Site State"));
  m.mnuView_Trends = Item(m.mnuView, "mnuView_Trends", QStringLiteral("&Trends"));
  m.mnuView_Updates = m.mnuView->addMenu(QStringLiteral("&Refreshes/Updates"));
  m.mnuView_Updates->setObjectName(QStringLiteral("mnuView_Updates"));
  m.mnuView_ShowBlockRefreshes = Item(m.mnuView_Updates, "mnuView_ShowBlockRefreshes",
                                      QStringLiteral("Show Block Refreshes"), true);
  m.mnuView->addSeparator();
  m.mnuView_About = Item(m.mnuView, "mnuView_About", QStringLiteral("&About..."));
  // The product's caption is misspelt and is kept as it stands.
  m.mnuView_Support = Item(m.mnuView, "mnuView_Support", QStringLiteral("&Techical Support..."));
  return m;
}

}  // namespace telmon
