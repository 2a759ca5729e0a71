#include "views/ChannelUpdateTick.h"

#include "platform/DatabaseWorker.h"
#include "util/TextConversionFunctions.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "views/ViewErrors.h"

namespace telmon {

namespace {

class BusyScope {
 public:
  explicit BusyScope(IChannelTickPanels& panels) : panels_(panels) { panels_.BeginBusy(); }
  ~BusyScope() { panels_.EndBusy(); }
  BusyScope(const BusyScope&) = delete;
  BusyScope& operator=(const BusyScope&) = delete;

 private:
  IChannelTickPanels& panels_;
};

// Each panel step stands alone: one that fails must not keep the others from updating.
template <typename Step>
void IgnoringFailure(Step&& step) {
  try {
    step();
  } catch (...) {
  }
}

QString DateAndLongTime(const QDateTime& value, const DateTimeFormats& formats) {
  return FormatDateTimeStyle(value, 13, formats) + QLatin1Char(' ') +
         FormatDateTimeStyle(value, 1, formats);
}

}  // namespace

AllRefreshStatus ReadAllRefreshStatus(const QString& pointText, const DateTimeFormats& formats) {
  const xml::XmlDocument doc = xml::ParseXmlDocument(nullptr, pointText);
  const xml::XmlElement root = doc ? xml::DocumentElement(doc) : nullptr;
  const std::optional<QDateTime> start = ToDateTime(xml::GetAttributeText(root, "Start"));
  const std::optional<QDateTime> finish = ToDateTime(xml::GetAttributeText(root, "Finish"));
  AllRefreshStatus status;
  if (finish) {
    status.text = DateAndLongTime(*finish, formats);
  } else if (start) {
    status.text = QStringLiteral("In progress...");
  } else {
    status.text = QStringLiteral("(none)");
  }
  if (start) {
    status.toolTip = QStringLiteral("All Data Refreshed (Started ") +
                     DateAndLongTime(*start, formats) + QLatin1Char(')');
  }
  return status;
}

ChannelUpdateTick::ChannelUpdateTick(H5DBIL& dbil, QString realtimeConnection,
                                     ChannelListviewManager* channels, const IClock& clock,
                                     IChannelTickPanels& panels, IRaiseMsg& sink,
                                     DateTimeFormats formats)
    : dbil_(dbil),
      connection_(std::move(realtimeConnection)),
      channels_(channels),
      clock_(clock),
      panels_(panels),
      sink_(sink),
      formats_(std::move(formats)) {}

QString ChannelUpdateTick::AgedUpdateText(const QString& lastUpdate, qint64 seconds) {
  return QStringLiteral("%1 (%2 s old)").arg(lastUpdate).arg(seconds);
}

void ChannelUpdateTick::Run() {
  const QDateTime tickTime = clock_.Now();
  if (worker_ == nullptr || channels_ == nullptr) {
    BusyScope busy(panels_);
    std::optional<CurrentValues> values;
    try {
      if (channels_ != nullptr) {
        values =
            dbil_.ReadCurrentValues(connection_, QDateTime(), channels_->ReadListOfIOIDsInLsv());
      }
    } catch (...) {
      sink_.RaiseMsg(MsgType::Error, ListError::CurrentFailureText(QStringLiteral("TELM-0010")));
      Observe(tickTime, nullptr);
      return;
    }
    Finish(tickTime, values);
    return;
  }
  if (reading_) {
    IgnoringFailure([&] {
      if (lastUpdate_.isValid()) {
        panels_.SetChannelUpdateTime(AgedUpdateText(FormatDateTimeStyle(lastUpdate_, 1, formats_),
                                                    lastUpdate_.secsTo(tickTime)));
      }
    });
    return;
  }
  IoidList list;
  try {
    list = channels_->ReadListOfIOIDsInLsv();
  } catch (...) {
    sink_.RaiseMsg(MsgType::Error, ListError::CurrentFailureText(QStringLiteral("TELM-0010")));
    Observe(tickTime, nullptr);
    return;
  }
  reading_ = true;
  DatabaseWorker* worker = worker_;
  std::weak_ptr<bool> alive = alive_;
  worker->Post([this, worker, alive, tickTime, list = std::move(list),
                connection = connection_](H5DBIL& dbil) {
    std::optional<CurrentValues> values = dbil.ReadCurrentValues(connection, QDateTime(), list);
    worker->Reply([this, alive, tickTime, values = std::move(values)] {
      if (!alive.expired()) {
        reading_ = false;
        Finish(tickTime, values);
      }
    });
  });
}

void ChannelUpdateTick::Finish(const QDateTime& tickTime,
                               const std::optional<CurrentValues>& values) {
  try {
    panels_.SetChannelUpdateTime(QStringLiteral("??"));
    panels_.SetAllRefreshTime(QStringLiteral("??"));
    if (values) {
      lastUpdate_ = tickTime;
      panels_.SetChannelUpdateTime(FormatDateTimeStyle(tickTime, 1, formats_));
      ShowResults(*values);
    }
  } catch (...) {
    sink_.RaiseMsg(MsgType::Error, ListError::CurrentFailureText(QStringLiteral("TELM-0010")));
  }
  Observe(tickTime, values ? &*values : nullptr);
}

void ChannelUpdateTick::Observe(const QDateTime& tickTime, const CurrentValues* values) {
  if (observer_ != nullptr && channels_ != nullptr) {
    IgnoringFailure([&] { observer_->TickRead(tickTime, values); });
  }
}

void ChannelUpdateTick::ShowResults(const CurrentValues& values) {
  IgnoringFailure([&] {
    const auto it = values.constFind(QLatin1String(ChannelListviewManager::AllCommsOk));
    if (it != values.constEnd()) {
      panels_.SetNotPollingVisible(it->numericValue.value_or(0.0) == 0.0);
    }
  });
  IgnoringFailure([&] {
    const auto it = values.constFind(QLatin1String(ChannelListviewManager::AllDataRefreshed));
    if (it != values.constEnd()) {
      const AllRefreshStatus status = ReadAllRefreshStatus(it->textValue, formats_);
      panels_.SetAllRefreshTime(status.text);
      panels_.SetAllRefreshToolTip(
          status.toolTip.value_or(QLatin1String(AllRefreshDefaultToolTip)));
    }
  });
  IgnoringFailure([&] { channels_->UpdateLsv(values); });
}

}  // namespace telmon
