#include "views/ui/ListFilterEdit.h"

#include "views/ui/KeyedListView.h"

#include <QKeyEvent>
#include <QListWidget>

namespace telmon {

ListFilterEdit::ListFilterEdit(QWidget* parent) : QLineEdit(parent) {
  setPlaceholderText(tr("Filter (Esc clears)"));
  setClearButtonEnabled(true);
  setAccessibleName(tr("Filter"));
}

void ListFilterEdit::Attach(KeyedListView* view) {
  connect(this, &QLineEdit::textChanged, view, &KeyedListView::SetFilterText);
}

void ListFilterEdit::Attach(QListWidget* list) {
  connect(this, &QLineEdit::textChanged, list,
          [list](const QString& text) { FilterListWidget(list, text); });
}

void ListFilterEdit::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape && !text().isEmpty()) {
    clear();
    event->accept();
    return;
  }
  QLineEdit::keyPressEvent(event);
}

void FilterListWidget(QListWidget* list, const QString& text) {
  for (int row = 0; row < list->count(); ++row) {
    QListWidgetItem* item = list->item(row);
    const bool hidden = !text.isEmpty() && !item->text().contains(text, Qt::CaseInsensitive);
    item->setHidden(hidden);
    if (hidden && item->isSelected()) {
      item->setSelected(false);
    }
  }
}

}  // namespace telmon
