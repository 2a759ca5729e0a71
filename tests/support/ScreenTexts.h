#pragma once

// What a window or page shows the operator, one line per caption, read from the widgets
// themselves: frames, labels, buttons, check boxes, text boxes, tabs (with their keys), list
// columns (title, width in twips, alignment), toolbar buttons (by key, with their state) and menus
// (one line per menu, its items in order). Tool tips follow their control's line; a control the
// page hides (while the page itself is shown) is marked "(hidden)". Each page's test keeps one
// table of the texts the operator knows and checks it against these lines, so that a changed
// caption fails once, in one place:
//
//   telmon::test::ExpectShown(telmon::test::ScreenTexts(page), {
//       R"t(button "Reset Counters" tip "Reset the queue counters to zero (...)")t",
//       R"t(column 0 "Queue Name" 2300 L)t",
//   });

#include "views/KeyedListModel.h"

#include <QAbstractButton>
#include <QAction>
#include <QCheckBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QRadioButton>
#include <QStringList>
#include <QTabBar>
#include <QToolBar>
#include <QTreeView>
#include <QWidget>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace telmon::test {

namespace screen_detail {

inline QString Quoted(const QString& text) { return QLatin1Char('"') + text + QLatin1Char('"'); }

inline QString WithTip(QString line, const QString& tip) {
  return tip.isEmpty() ? line : line + QStringLiteral(" tip ") + Quoted(tip);
}

// A check mark and a disabled state, as an item or button shows them.
inline QString ActionState(const QAction* a) {
  QString text;
  if (a->isCheckable()) {
    text += a->isChecked() ? QStringLiteral(" [x]") : QStringLiteral(" [ ]");
  }
  if (!a->isEnabled()) {
    text += QStringLiteral(" (disabled)");
  }
  return text;
}

inline QString ActionText(const QAction* a) {
  return a->isSeparator() ? QStringLiteral("-") : Quoted(a->text()) + ActionState(a);
}

inline void MenuLines(const QMenu* menu, const QString& path, QStringList& out) {
  QStringList items;
  QList<const QMenu*> submenus;
  for (const QAction* a : menu->actions()) {
    items << ActionText(a);
    if (a->menu() != nullptr) {
      submenus << a->menu();
    }
  }
  out << QStringLiteral("menu %1: %2").arg(path, items.join(QStringLiteral(" | ")));
  for (const QMenu* sub : submenus) {
    MenuLines(sub, path + QStringLiteral(" > ") + Quoted(sub->title()), out);
  }
}

// A list's columns as its header shows them. The width is the column's width in twips as the
// list was given it; a header that draws the column at another width says so.
inline void ColumnLines(const QTreeView* view, QStringList& out) {
  const QAbstractItemModel* model = view->model();
  if (model == nullptr) {
    return;
  }
  for (int c = 0; c < model->columnCount(); ++c) {
    QString line = QStringLiteral("column %1 %2")
                       .arg(c)
                       .arg(Quoted(model->headerData(c, Qt::Horizontal).toString()));
    const QVariant twips = model->headerData(c, Qt::Horizontal, KeyedListModel::WidthTwipsRole);
    if (twips.isValid()) {
      const int align = model->headerData(c, Qt::Horizontal, Qt::TextAlignmentRole).toInt();
      line += QStringLiteral(" %1 %2")
                  .arg(twips.toInt())
                  .arg((align & Qt::AlignRight) != 0 ? 'R' : 'L');
      const int pixels = static_cast<int>(
          std::lround(twips.toDouble() * view->logicalDpiX() / 1440.0));  // 1440 twips an inch
      if (view->header()->sectionSize(c) != pixels) {
        line += QStringLiteral(" shown %1 px").arg(view->header()->sectionSize(c));
      }
    }
    out << line;
  }
}

inline QString WidgetLine(const QWidget* w) {
  if (const auto* g = qobject_cast<const QGroupBox*>(w)) {
    return QStringLiteral("frame ") + Quoted(g->title());
  }
  if (const auto* c = qobject_cast<const QCheckBox*>(w)) {
    return QStringLiteral("check ") + Quoted(c->text()) +
           (c->isChecked() ? QStringLiteral(" [x]") : QStringLiteral(" [ ]"));
  }
  if (const auto* r = qobject_cast<const QRadioButton*>(w)) {
    return QStringLiteral("radio ") + Quoted(r->text()) +
           (r->isChecked() ? QStringLiteral(" [x]") : QStringLiteral(" [ ]"));
  }
  if (const auto* b = qobject_cast<const QAbstractButton*>(w)) {
    if (qobject_cast<const QToolBar*>(w->parentWidget()) != nullptr ||
        (b->text().isEmpty() && b->toolTip().isEmpty())) {
      return {};  // a toolbar's buttons are its actions; a bare icon says nothing
    }
    return QStringLiteral("button ") + Quoted(b->text());
  }
  if (const auto* l = qobject_cast<const QLabel*>(w)) {
    return QStringLiteral("label ") + Quoted(l->text());
  }
  if (const auto* e = qobject_cast<const QLineEdit*>(w)) {
    if (e->text().isEmpty() && e->placeholderText().isEmpty()) {
      return {};
    }
    return QStringLiteral("box ") + Quoted(e->text()) +
           (e->placeholderText().isEmpty()
                ? QString()
                : QStringLiteral(" placeholder ") + Quoted(e->placeholderText()));
  }
  return {};
}

}  // namespace screen_detail

// `skip` names widgets whose contents belong to another page's table (the main window's page
// frames, say); they are left out with everything inside them.
inline QStringList ScreenTexts(const QWidget* root,
                               const std::function<bool(const QWidget*)>& skip = {}) {
  using namespace screen_detail;
  QStringList out;
  if (root->isWindow() && !root->windowTitle().isEmpty()) {
    out << QStringLiteral("window ") + Quoted(root->windowTitle());
  }
  if (const auto* bar = root->findChild<QMenuBar*>()) {
    for (const QAction* a : bar->actions()) {
      if (a->menu() != nullptr) {
        MenuLines(a->menu(), Quoted(a->menu()->title()), out);
      }
    }
  }
  std::function<void(const QWidget*)> walk = [&](const QWidget* parent) {
    for (const QObject* child : parent->children()) {
      const auto* w = qobject_cast<const QWidget*>(child);
      if (w == nullptr || w->isWindow() || qobject_cast<const QMenu*>(w) != nullptr ||
          qobject_cast<const QMenuBar*>(w) != nullptr || (skip && skip(w))) {
        continue;
      }
      const QString hidden = w->isVisibleTo(root) ? QString() : QStringLiteral("(hidden) ");
      if (const auto* tabs = qobject_cast<const QTabBar*>(w)) {
        for (int i = 0; i < tabs->count(); ++i) {
          const QString key = tabs->tabData(i).toString();
          out << hidden + QStringLiteral("tab %1 %2").arg(i).arg(Quoted(tabs->tabText(i))) +
                     (key.isEmpty() ? QString() : QStringLiteral(" key ") + Quoted(key));
        }
      } else if (const auto* view = qobject_cast<const QTreeView*>(w)) {
        QStringList columns;
        ColumnLines(view, columns);
        for (const QString& line : columns) {
          out << hidden + line;
        }
        continue;  // the rows are the list's data, not its captions
      } else if (const auto* toolbar = qobject_cast<const QToolBar*>(w)) {
        for (const QAction* a : toolbar->actions()) {
          if (!a->isSeparator()) {
            // A toolbar button is known by its key; its tool tip says what it does.
            out << hidden + WithTip(QStringLiteral("tool ") + a->objectName() + ActionState(a),
                                    a->toolTip() == a->text() ? QString() : a->toolTip());
          }
        }
      } else if (const QString line = WidgetLine(w); !line.isEmpty()) {
        out << hidden + WithTip(line, w->toolTip());
      }
      walk(w);
    }
  };
  walk(root);
  return out;
}

// Every line of `table` is among the lines shown; each one that is not fails on its own, and
// the lines that are shown are listed once to compare with.
inline void ExpectShown(const QStringList& shown, const QStringList& table) {
  QStringList missing;
  for (const QString& line : table) {
    if (!shown.contains(line)) {
      missing << line;
    }
  }
  for (const QString& line : missing) {
    ADD_FAILURE() << "not shown: " << line.toStdString();
  }
  if (!missing.isEmpty()) {
    ADD_FAILURE() << "shown:\n" << shown.join(QLatin1Char('\n')).toStdString();
  }
}

}  // namespace telmon::test
