#pragma once

// Names that screen readers and desktop test robots read for the main window's lists, text
// boxes and status panels: from the control's caption or its role, such as "Devices list" or
// "Not Polling Device(s)".

class QWidget;

namespace telmon {

// Names every list, text box and status panel under `root` that has no name of its own yet.
void NameControlsForAccessibility(QWidget* root);

}  // namespace telmon
