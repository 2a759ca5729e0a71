#pragma once

// The filter box above a list: typing narrows the list to the rows holding the text in any
// cell (case ignored, the text taken literally), Escape clears it.

#include <QLineEdit>

class QListWidget;

namespace telmon {

class KeyedListView;

class ListFilterEdit : public QLineEdit {
  Q_OBJECT

 public:
  explicit ListFilterEdit(QWidget* parent = nullptr);

  // Filters a keyed list's view.
  void Attach(KeyedListView* view);
  // Filters a plain list by hiding the items that do not match; an item the filter hides is no
  // longer selected, as on the keyed lists. The owner filters again after refilling the list.
  void Attach(QListWidget* list);

 protected:
  void keyPressEvent(QKeyEvent* event) override;
};

// Hides the items of `list` that do not contain `text` (any case, literally) and deselects them.
void FilterListWidget(QListWidget* list, const QString& text);

}  // namespace telmon
