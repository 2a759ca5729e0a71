#include "util/ByteCount.h"

namespace telmon {

qint64 ParseByteCount(const QString& text) {
  constexpr qint64 Limit = qint64{1} << 40;
  QString digits = text.trimmed();
  qint64 unit = 1;
  const qsizetype suffix = QStringLiteral("KMG").indexOf(digits.right(1).toUpper());
  if (!digits.isEmpty() && suffix >= 0) {
    unit = qint64{1} << (10 * (suffix + 1));
    digits.chop(1);
  }
  bool ok = false;
  const qint64 count = digits.toLongLong(&ok);
  return ok && count > 0 && count <= Limit / unit ? count * unit : 0;
}

}  // namespace telmon
