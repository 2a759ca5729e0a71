#include "app/WindowPlacement.h"

#include <QGuiApplication>
#include <QScreen>
#include <QSettings>
#include <QWidget>

#include <algorithm>

namespace telmon {

namespace {

const QString Group = QStringLiteral("frmMain");

QRect WithFrame(const QRect& client, const FrameAllowance& f) {
  return client.adjusted(-f.left, -f.top, f.right, f.bottom);
}

// A window system without decorations (or not yet reporting them) gets this much room.
FrameAllowance EstimatedFrame(const QWidget* window) {
  const QRect frame = window->frameGeometry();
  const QRect client = window->geometry();
  if (window->isVisible() && frame != client) {
    return {client.left() - frame.left(), client.top() - frame.top(),
            frame.right() - client.right(), frame.bottom() - client.bottom()};
  }
  return {4, 30, 4, 4};
}

}  // namespace

QRect FitInside(const QRect& wanted, const QRect& area, const FrameAllowance& frame) {
  if (area.contains(WithFrame(wanted, frame))) {
    return wanted;
  }
  const int maxWidth = std::max(1, area.width() - frame.left - frame.right);
  const int maxHeight = std::max(1, area.height() - frame.top - frame.bottom);
  QRect fitted(wanted.topLeft(),
               QSize(std::min(wanted.width(), maxWidth), std::min(wanted.height(), maxHeight)));
  const int minLeft = area.left() + frame.left;
  const int minTop = area.top() + frame.top;
  const int maxLeft = area.right() - frame.right - fitted.width() + 1;
  const int maxTop = area.bottom() - frame.bottom - fitted.height() + 1;
  fitted.moveTo(std::clamp(fitted.left(), minLeft, std::max(minLeft, maxLeft)),
                std::clamp(fitted.top(), minTop, std::max(minTop, maxTop)));
  return fitted;
}

QRect ChoosePlacement(const std::optional<SavedPlacement>& saved, const QList<ScreenArea>& screens,
                      int primary, const QSize& defaultSize, const FrameAllowance& frame) {
  if (screens.isEmpty()) {
    return saved ? saved->geometry : QRect(QPoint(0, 0), defaultSize);
  }
  if (saved && saved->geometry.isValid()) {
    for (const ScreenArea& s : screens) {
      if (s.name == saved->screen && s.available.contains(WithFrame(saved->geometry, frame))) {
        return saved->geometry;
      }
    }
  }
  const ScreenArea& screen = screens.at(primary >= 0 && primary < screens.size() ? primary : 0);
  // Centred on the screen, then made to fit.
  QRect wanted(QPoint(0, 0), defaultSize);
  wanted.moveCenter(screen.available.center());
  return FitInside(wanted, screen.available, frame);
}

std::optional<SavedPlacement> LoadPlacement(QSettings& settings) {
  settings.beginGroup(Group);
  SavedPlacement p;
  p.screen = settings.value(QStringLiteral("Screen")).toString();
  p.geometry = settings.value(QStringLiteral("Geometry")).toRect();
  p.maximized = settings.value(QStringLiteral("Maximized"), false).toBool();
  settings.endGroup();
  if (!p.geometry.isValid()) {
    return std::nullopt;
  }
  return p;
}

void SavePlacement(QSettings& settings, const SavedPlacement& placement) {
  settings.beginGroup(Group);
  settings.setValue(QStringLiteral("Screen"), placement.screen);
  settings.setValue(QStringLiteral("Geometry"), placement.geometry);
  settings.setValue(QStringLiteral("Maximized"), placement.maximized);
  settings.endGroup();
  settings.sync();
}

void RestoreWindowPlacement(QWidget* window, QSettings& settings, const QSize& defaultSize) {
  QList<ScreenArea> screens;
  int primary = 0;
  for (QScreen* s : QGuiApplication::screens()) {
    if (s == QGuiApplication::primaryScreen()) {
      primary = static_cast<int>(screens.size());
    }
    screens.push_back({s->name(), s->availableGeometry()});
  }
  const std::optional<SavedPlacement> saved = LoadPlacement(settings);
  const FrameAllowance frame = EstimatedFrame(window);
  window->setGeometry(ChoosePlacement(saved, screens, primary, defaultSize, frame));
  if (saved && saved->maximized) {
    window->setWindowState(window->windowState() | Qt::WindowMaximized);
  }
}

void RememberWindowPlacement(const QWidget* window, QSettings& settings) {
  const QScreen* screen = window->screen();
  if (screen == nullptr) {
    return;
  }
  SavePlacement(settings, {screen->name(), window->normalGeometry(), window->isMaximized()});
}

}  // namespace telmon
