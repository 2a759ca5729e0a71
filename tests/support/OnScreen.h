#pragma once

// Whether a person looking at the window sees a widget, which is more than QWidget::isVisible:
// the widget and its window are shown, it lies wholly inside its window and inside every
// container on the way there, it has a size large enough for its text, and no sibling stacked
// above it (or above one of its containers) covers it. A widget in a container without a
// layout, for example, is "visible" at zero width.
//
//   EXPECT_TRUE(telmon::SeenOnScreen(window->txtNotPolling()));

#include <QAbstractButton>
#include <QFontMetrics>
#include <QLabel>
#include <QLineEdit>
#include <QStyle>
#include <QStyleOptionFrame>
#include <QWidget>

#include <gtest/gtest.h>

namespace telmon {

namespace onscreen_detail {

inline QString Name(const QWidget* w) {
  const QString name = w->objectName();
  return (name.isEmpty() ? QString::fromLatin1(w->metaObject()->className()) : name);
}

inline std::string Describe(const QWidget* w) {
  const QRect g = w->geometry();
  return Name(w).toStdString() + " at " + std::to_string(g.x()) + "," + std::to_string(g.y()) +
         " size " + std::to_string(g.width()) + "x" + std::to_string(g.height());
}

// The text the widget draws, with a button's mnemonic marker taken out.
inline QString ShownText(const QWidget* w) {
  if (const auto* b = qobject_cast<const QAbstractButton*>(w)) {
    QString text = b->text();
    return text.replace(QStringLiteral("&&"), QStringLiteral("\x01"))
        .remove(QLatin1Char('&'))
        .replace(QLatin1Char('\x01'), QLatin1Char('&'));
  }
  if (const auto* l = qobject_cast<const QLabel*>(w)) {
    return l->textFormat() == Qt::RichText ? QString() : l->text();
  }
  if (const auto* e = qobject_cast<const QLineEdit*>(w)) {
    return e->text();
  }
  return {};
}

// The width the widget leaves its text once its frame and margins are taken off.
inline int TextRoom(const QWidget* w) {
  const QStyle* style = w->style();
  if (const auto* e = qobject_cast<const QLineEdit*>(w)) {
    QStyleOptionFrame opt;
    opt.initFrom(e);
    opt.rect = e->contentsRect();
    opt.lineWidth = e->hasFrame() ? style->pixelMetric(QStyle::PM_DefaultFrameWidth, &opt, e) : 0;
    const QRect contents = style->subElementRect(QStyle::SE_LineEditContents, &opt, e);
    const QMargins margins = e->textMargins();
    constexpr int kLineEditInnerMargin = 2;  // each side, inside the contents rectangle
    return contents.width() - margins.left() - margins.right() - 2 * kLineEditInnerMargin;
  }
  if (const auto* l = qobject_cast<const QLabel*>(w)) {
    return l->contentsRect().width() - 2 * l->margin();
  }
  if (qobject_cast<const QAbstractButton*>(w) != nullptr) {
    return w->width() - 2 * style->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, w) -
           style->pixelMetric(QStyle::PM_ButtonMargin, nullptr, w);
  }
  return w->width();
}

// A visible sibling stacked above `child` that overlaps `area` (in the parent's coordinates).
inline const QWidget* CoveringSibling(const QWidget* child, const QRect& area) {
  const QObjectList& siblings = child->parentWidget()->children();
  bool above = false;
  for (const QObject* o : siblings) {
    if (o == child) {
      above = true;
      continue;
    }
    const auto* s = qobject_cast<const QWidget*>(o);
    if (above && s != nullptr && !s->isWindow() && s->isVisible() &&
        s->geometry().intersects(area)) {
      return s;
    }
  }
  return nullptr;
}

}  // namespace onscreen_detail

inline ::testing::AssertionResult SeenOnScreen(const QWidget* w) {
  namespace d = onscreen_detail;
  if (w == nullptr) {
    return ::testing::AssertionFailure() << "no widget";
  }
  if (!w->window()->isVisible()) {
    return ::testing::AssertionFailure() << d::Describe(w) << ": its window is not shown";
  }
  if (!w->isVisible()) {
    return ::testing::AssertionFailure() << d::Describe(w) << ": hidden";
  }
  if (w->width() <= 0 || w->height() <= 0) {
    return ::testing::AssertionFailure() << d::Describe(w) << ": no size";
  }
  const QString text = d::ShownText(w);
  if (!text.isEmpty()) {
    const QFontMetrics fm = w->fontMetrics();
    const int needed = fm.horizontalAdvance(text);
    const int room = d::TextRoom(w);
    if (room < needed || w->height() < fm.height()) {
      return ::testing::AssertionFailure()
             << d::Describe(w) << ": too small for \"" << text.toStdString() << "\" (needs "
             << needed << "x" << fm.height() << ", has room for " << room << ")";
    }
  }
  // Walk up to the window: at each level the widget's rectangle must lie inside the container
  // and under no later sibling.
  QRect area = w->rect();
  for (const QWidget* c = w; !c->isWindow(); c = c->parentWidget()) {
    area.translate(c->pos());
    const QWidget* parent = c->parentWidget();
    if (!parent->rect().contains(area)) {
      return ::testing::AssertionFailure()
             << d::Describe(w) << ": cut off by " << d::Describe(parent);
    }
    if (const QWidget* s = d::CoveringSibling(c, area)) {
      return ::testing::AssertionFailure() << d::Describe(w) << ": covered by " << d::Describe(s);
    }
  }
  return ::testing::AssertionSuccess();
}

}  // namespace telmon
