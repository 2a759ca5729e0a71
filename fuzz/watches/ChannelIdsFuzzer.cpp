// Arbitrary bytes as a channel tag file, loaded and parsed the way the add-channel dialog does.
// Rules: a file over the size limit is refused and one within it is read whole as single-byte
// text; the parse never expands more IDs than its limit; an accepted text names `count` IDs,
// each from 1 to the 32-bit maximum; and the IDs joined by "," (what a saved watch list writes)
// parse back to the same IDs. Any crash, sanitizer report or broken rule is a finding.

#include "watches/ChannelTagFile.h"
#include "watches/TypedChannelIds.h"

#include <QFile>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <cstdlib>
#include <string>

using namespace telmon;

namespace {

constexpr std::int64_t kMaxIds = 5000;
constexpr std::int64_t kMaxBytes = 512;

void Check(bool condition) {
  if (!condition) {
    std::abort();
  }
}

const QString& TagFilePath() {
  static const QString path = [] {
    std::string folder = "/tmp/telmon-tags-fuzz.XXXXXX";
    Check(mkdtemp(folder.data()) != nullptr);
    return QString::fromStdString(folder) + QStringLiteral("/watch.tag");
  }();
  return path;
}

void CheckParse(const QString& text) {
  const TypedChannelIds parsed = ParseTypedChannelIds(text, kMaxIds);
  switch (parsed.status) {
    case TypedChannelIds::Status::Ok: {
      Check(parsed.count <= kMaxIds);
      Check(static_cast<std::int64_t>(parsed.ids.size()) == parsed.count);
      QStringList joined;
      for (const std::int32_t id : parsed.ids) {
        Check(id >= 1);
        joined << QString::number(id);
      }
      if (!parsed.ids.empty()) {
        const TypedChannelIds again = ParseTypedChannelIds(joined.join(QLatin1Char(',')), kMaxIds);
        Check(again.status == TypedChannelIds::Status::Ok);
        Check(again.ids == parsed.ids);
      }
      break;
    }
    case TypedChannelIds::Status::TooMany:
      Check(parsed.count > kMaxIds);
      Check(parsed.ids.empty());
      break;
    case TypedChannelIds::Status::Invalid:
    case TypedChannelIds::Status::Overflow:
      Check(parsed.ids.empty());
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  QFile file(TagFilePath());
  Check(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
  Check(file.write(bytes) == bytes.size());
  file.close();

  const ChannelTagFileRead read = ReadChannelTagFile(TagFilePath(), kMaxBytes);
  if (bytes.size() > kMaxBytes) {
    Check(read.status == ChannelTagFileRead::Status::Failed);
    return 0;
  }
  Check(read.status == ChannelTagFileRead::Status::Ok);
  Check(read.text == QString::fromLatin1(bytes));
  CheckParse(read.text);
  CheckParse(TrimBlanks(read.text));
  return 0;
}
