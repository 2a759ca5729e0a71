#pragma once

// The four keyed panels of the main window's status bar.

#include <QHash>
#include <QString>

class QLabel;
class QStatusBar;

namespace telmon {

namespace PanelKey {
inline const QString CurrentTime = QStringLiteral("CurrentTime");
inline const QString ChannelUpdateTime = QStringLiteral("ChannelUpdateTime");
inline const QString AllRefreshTime = QStringLiteral("AllRefreshTime");
inline const QString BytesReceived = QStringLiteral("BytesReceived");
}  // namespace PanelKey

class StatusPanels {
 public:
  explicit StatusPanels(QStatusBar* bar);

  void SetText(const QString& key, const QString& text);
  void SetToolTip(const QString& key, const QString& tip);
  QString Text(const QString& key) const;
  QString ToolTip(const QString& key) const;

 private:
  QHash<QString, QLabel*> panels_;
};

}  // namespace telmon
