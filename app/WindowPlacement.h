#pragma once

// Where the main window opens: on the screen where it was last closed, at the size it had,
// when that still fits the screen's available area; otherwise at its default size, made no
// larger than the available area of the screen and placed inside it. The last placement is
// kept in the per-user registry.

#include <QList>
#include <QRect>
#include <QString>

#include <optional>

class QSettings;
class QWidget;

namespace telmon {

struct ScreenArea {
  QString name;
  QRect available;  // the screen's available area, in the window system's logical pixels
};

struct SavedPlacement {
  QString screen;
  QRect geometry;  // the window's client area when it was last in the normal state
  bool maximized = false;
};

// Room a window frame takes around the client area before the window system reports it.
struct FrameAllowance {
  int left = 0, top = 0, right = 0, bottom = 0;
};

// `wanted` made no larger than `area` less the frame, and moved so that it lies inside it;
// a rectangle that already fits is returned as it is.
QRect FitInside(const QRect& wanted, const QRect& area, const FrameAllowance& frame);

// The client-area geometry to open with; `primary` indexes `screens` (the first when out of
// range). A saved placement on a screen that is gone, or one that no longer fits, is not used
// as it stands.
QRect ChoosePlacement(const std::optional<SavedPlacement>& saved, const QList<ScreenArea>& screens,
                      int primary, const QSize& defaultSize, const FrameAllowance& frame);

std::optional<SavedPlacement> LoadPlacement(QSettings& settings);
void SavePlacement(QSettings& settings, const SavedPlacement& placement);

// Applies the placement to a window that is not shown yet, from the registry's last placement.
void RestoreWindowPlacement(QWidget* window, QSettings& settings, const QSize& defaultSize);
// Keeps the window's screen and normal geometry for the next start.
void RememberWindowPlacement(const QWidget* window, QSettings& settings);

}  // namespace telmon
