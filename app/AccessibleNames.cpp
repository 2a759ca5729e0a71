#include "app/AccessibleNames.h"

#include "app/TabFrames.h"

#include <QAbstractItemView>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QStatusBar>
#include <QTabBar>
#include <QTextEdit>
#include <QToolBar>

namespace telmon {

namespace {

// The controls the program knows by name, with the name a technician sees on screen.
const QHash<QString, QString>& KnownNames() {
  static const QHash<QString, QString> names = {
      {QStringLiteral("lsvDevices"), QStringLiteral("Devices list")},
      {QStringLiteral("lsvQueues"), QStringLiteral("Queues list")},
      {QStringLiteral("lsvBlocks"), QStringLiteral("Blocks list")},
      {QStringLiteral("lsvChannels"), QStringLiteral("Channels/Addresses list")},
      {QStringLiteral("lsvAlarms"), QStringLiteral("Active Alarms list")},
      {QStringLiteral("lsvProblems"), QStringLiteral("Messages list")},
      {QStringLiteral("txtNotPolling"), QStringLiteral("Not Polling Device(s)")},
      {QStringLiteral("toolbarChannels"), QStringLiteral("Channels/Addresses toolbar")},
      {QStringLiteral("tabstripTELM"), QStringLiteral("Pages")},
      {QStringLiteral("StatusBar1"), QStringLiteral("Status bar")},
  };
  return names;
}

// The caption of the tab whose page holds `w`, or empty.
QString PageCaption(const QWidget* w) {
  for (const QWidget* p = w; p != nullptr; p = p->parentWidget()) {
    if (const auto* tabs = qobject_cast<const TabFrames*>(p); tabs != nullptr) {
      for (int i = 0; i < tabs->tabstripTELM()->count(); ++i) {
        if (tabs->Frame(i) != nullptr && tabs->Frame(i)->isAncestorOf(w)) {
          return tabs->tabstripTELM()->tabText(i).remove(QLatin1Char('&'));
        }
      }
    }
  }
  return {};
}

// A name from what the control shows or says about itself, for controls not in the table.
QString NameFromRole(const QWidget* w) {
  if (!w->toolTip().isEmpty()) {
    return w->toolTip();
  }
  if (const auto* edit = qobject_cast<const QLineEdit*>(w); edit != nullptr) {
    if (!edit->placeholderText().isEmpty()) {
      return edit->placeholderText();
    }
    if (edit->isReadOnly() && !edit->text().isEmpty()) {
      return edit->text();
    }
  }
  const QString page = PageCaption(w);
  if (qobject_cast<const QAbstractItemView*>(w) != nullptr) {
    return page.isEmpty() ? QStringLiteral("List") : page + QStringLiteral(" list");
  }
  return page.isEmpty() ? QStringLiteral("Text box") : page + QStringLiteral(" text box");
}

bool NeedsName(const QWidget* w) {
  if (!w->accessibleName().isEmpty()) {
    return false;
  }
  if (KnownNames().contains(w->objectName())) {
    return true;
  }
  if (qobject_cast<const QAbstractItemView*>(w) != nullptr ||
      qobject_cast<const QLineEdit*>(w) != nullptr ||
      qobject_cast<const QTextEdit*>(w) != nullptr ||
      qobject_cast<const QPlainTextEdit*>(w) != nullptr) {
    return true;
  }
  // Status panels: the labels of the status bar.
  return qobject_cast<const QLabel*>(w) != nullptr &&
         qobject_cast<const QStatusBar*>(w->parentWidget()) != nullptr;
}

}  // namespace

void NameControlsForAccessibility(QWidget* root) {
  if (root == nullptr) {
    return;
  }
  for (QWidget* w : root->findChildren<QWidget*>()) {
    if (!NeedsName(w)) {
      continue;
    }
    const QString known = KnownNames().value(w->objectName());
    w->setAccessibleName(known.isEmpty() ? NameFromRole(w) : known);
  }
}

}  // namespace telmon
