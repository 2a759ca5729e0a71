#pragma once

// The main window's menus, with the system's captions; every item keeps its control name as
// its object name so that tests and screenshots can find it.

#include <QObject>

class QAction;
class QMenu;
class QMenuBar;

namespace telmon {

struct MainMenus {
  QMenu* mnuFile = nullptr;
  QAction* mnuFile_ConnectToIOS = nullptr;
  QAction* mnuFile_DisconnectFromIOS = nullptr;
  QAction* mnuFile_RefreshAllLists = nullptr;
  QAction* mnuFile_ReadAllData = nullptr;
  QAction* mnuFile_PrintScreen = nullptr;
  QAction* mnuFile_ExportList = nullptr;
  QAction* mnuFile_Exit = nullptr;

  QMenu* mnuEdit = nullptr;
  QAction* mnuEdit_AllowEdits = nullptr;
  QAction* mnuWatches_CopyWatchInfo = nullptr;

  QMenu* mnuWatches = nullptr;
  QAction* mnuWatches_Add = nullptr;
  QAction* mnuWatches_AddAddr = nullptr;
  QAction* mnuWatches_Change = nullptr;
  QAction* mnuWatches_Remove = nullptr;
  QAction* mnuWatches_RemoveAll = nullptr;
  QAction* mnuWatches_1DecPlace = nullptr;
  QAction* mnuFile_List = nullptr;

  QMenu* mnuView = nullptr;
  QAction* mnuView_Messages = nullptr;
  QAction* mnuView_Journal = nullptr;
  QAction* mnuView_SiteState = nullptr;
  QAction* mnuView_Trends = nullptr;
  QMenu* mnuView_Updates = nullptr;
  QAction* mnuView_ShowBlockRefreshes = nullptr;
  QAction* mnuView_About = nullptr;
  QAction* mnuView_Support = nullptr;

  static MainMenus Build(QMenuBar* bar, QObject* owner);
};

}  // namespace telmon
