#pragma once

// Text put into a box the way a screen reader, a voice-control tool or desktop automation puts
// it: through the widget's accessibility interface, never through key presses, so the box
// emits textChanged but not textEdited.
//
//   telmon::SetTextAccessibly(dialog.txtNewValue(), "43.5", telmon::AccessPath::Value);

#include <QAccessible>
#include <QAccessibleEditableTextInterface>
#include <QAccessibleInterface>
#include <QAccessibleTextInterface>
#include <QString>
#include <QWidget>

#include <gtest/gtest.h>

namespace telmon {

enum class AccessPath {
  Value,    // the interface's text value, as a tool sets a box's whole content
  Replace,  // the editable-text interface replacing everything
  Insert,   // the editable-text interface deleting everything, then inserting
};

inline const char* AccessPathName(AccessPath path) {
  switch (path) {
    case AccessPath::Value:
      return "accessible value";
    case AccessPath::Replace:
      return "editable text, replaced";
    case AccessPath::Insert:
      return "editable text, deleted and inserted";
  }
  return "";
}

inline void SetTextAccessibly(QWidget* box, const QString& text, AccessPath path) {
  ASSERT_NE(box, nullptr);
  QAccessibleInterface* iface = QAccessible::queryAccessibleInterface(box);
  ASSERT_NE(iface, nullptr) << box->objectName().toStdString();
  if (path == AccessPath::Value) {
    iface->setText(QAccessible::Value, text);
    return;
  }
  QAccessibleEditableTextInterface* editable = iface->editableTextInterface();
  QAccessibleTextInterface* current = iface->textInterface();
  ASSERT_NE(editable, nullptr) << box->objectName().toStdString();
  ASSERT_NE(current, nullptr) << box->objectName().toStdString();
  const int length = current->characterCount();
  if (path == AccessPath::Replace) {
    editable->replaceText(0, length, text);
    return;
  }
  if (length > 0) {
    editable->deleteText(0, length);
  }
  editable->insertText(0, text);
}

}  // namespace telmon
