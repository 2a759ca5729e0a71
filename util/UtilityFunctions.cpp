#include "util/UtilityFunctions.h"

#include "util/TextConversionFunctions.h"

namespace telmon {

QString TruncateForDisplay(const QString& text, int n) {
  if (text.size() > n) {
    return text.left(n) + QStringLiteral("...");
  }
  return text;
}

QString EscapeXmlText(const QString& text) {
  QString s = text;
  s.replace(QLatin1Char('&'), QLatin1String("&amp;"));
  s.replace(QLatin1Char('<'), QLatin1String("&lt;"));
  s.replace(QLatin1Char('>'), QLatin1String("&gt;"));
  s.replace(QLatin1Char('"'), QLatin1String("&quot;"));
  s.replace(QChar(0x00B0), QLatin1String("&#176;"));
  return s;
}

std::int32_t ReadDahsIdSwitch(const QStringList& arguments) {
  static const QString sw = QStringLiteral("/DAHSID=");
  for (const QString& arg : arguments) {
    if (arg.startsWith(sw, Qt::CaseInsensitive)) {
      return ToInt32(arg.mid(sw.size())).value_or(0);
    }
  }
  return 0;
}

}  // namespace telmon
