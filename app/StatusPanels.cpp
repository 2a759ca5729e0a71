#include "app/StatusPanels.h"

#include <QLabel>
#include <QStatusBar>

namespace telmon {

StatusPanels::StatusPanels(QStatusBar* bar) {
  struct Panel {
    QString key, text, tip;
    int stretch;
  };
  const Panel panels[] = {
      {PanelKey::CurrentTime, QStringLiteral("(time)"), QStringLiteral("Current Time"), 0},
      {PanelKey::ChannelUpdateTime, QStringLiteral("(update)"),
       QStringLiteral("Last Channel Update Time"), 0},
      {PanelKey::AllRefreshTime, QStringLiteral("(last all refresh time)"),
       QStringLiteral("Last All Data Refreshed Time"), 1},
      {PanelKey::BytesReceived, QStringLiteral("(bytes received)"),
       QStringLiteral("Bytes received from IOS"), 0},
  };
  for (const Panel& p : panels) {
    auto* label = new QLabel(p.text, bar);
    label->setObjectName(p.key);
    label->setToolTip(p.tip);
    // Screen readers name the panel by its role; its text is what it reads out as the value.
    label->setAccessibleName(p.tip);
    label->setFrameStyle(QFrame::Panel | QFrame::Sunken);
    label->setMinimumWidth(110);
    bar->addPermanentWidget(label, p.stretch);
    panels_.insert(p.key, label);
  }
}

void StatusPanels::SetText(const QString& key, const QString& text) {
  if (QLabel* l = panels_.value(key)) {
    l->setText(text);
  }
}

void StatusPanels::SetToolTip(const QString& key, const QString& tip) {
  if (QLabel* l = panels_.value(key)) {
    l->setToolTip(tip);
  }
}

QString StatusPanels::Text(const QString& key) const {
  const QLabel* l = panels_.value(key);
  return l != nullptr ? l->text() : QString();
}

QString StatusPanels::ToolTip(const QString& key) const {
  const QLabel* l = panels_.value(key);
  return l != nullptr ? l->toolTip() : QString();
}

}  // namespace telmon
