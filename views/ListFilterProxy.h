#pragma once

// Narrows a list to the rows that contain a typed text in any cell, the row text included.
// The text is taken literally and compared without regard to case; an empty text shows every
// row. The rows keep the source's order, and rows whose cells change are filtered again as
// the changes arrive.

#include <QSortFilterProxyModel>
#include <QString>

namespace telmon {

class ListFilterProxy : public QSortFilterProxyModel {
  Q_OBJECT

 public:
  explicit ListFilterProxy(QObject* parent = nullptr);

  void SetFilterText(const QString& text);
  const QString& FilterText() const { return text_; }
  bool IsFiltering() const { return !text_.isEmpty(); }

 protected:
  bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

 private:
  QString text_;
};

}  // namespace telmon
