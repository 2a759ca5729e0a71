#include "check/SequenceRunner.h"

#include "views/ChannelListviewManager.h"
#include "watches/BulkModeCodeWrites.h"
#include "watches/ChangeChanValueModel.h"
#include "watches/ChangeChanValuesModel.h"

#include <QElapsedTimer>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace telmon::check {

namespace {

const QString kLinkLost = QStringLiteral("the I/O server closed the connection");
const QString kInterrupted = QStringLiteral("interrupted (Ctrl-C)");

QString Join(const QStringList& parts) { return parts.join(QStringLiteral("; ")); }

bool ValueMatches(const Step& step, const CurrentValueItem& item, const QString& text) {
  switch (step.match) {
    case ValueMatch::Equals: {
      if (text == step.expected) {
        return true;
      }
      bool numeric = false;
      const double expected = step.expected.toDouble(&numeric);
      return numeric && item.numericValue && *item.numericValue == expected;
    }
    case ValueMatch::Near:
      return item.numericValue &&
             std::fabs(*item.numericValue - step.expected.toDouble()) <= step.tolerance;
    case ValueMatch::Matches:
      return QRegularExpression(step.expected).match(text).hasMatch();
  }
  return false;
}

}  // namespace

const char* OutcomeText(StepOutcome outcome) {
  switch (outcome) {
    case StepOutcome::Passed:
      return "pass";
    case StepOutcome::Failed:
      return "FAIL";
    case StepOutcome::NotRun:
      return "not run";
  }
  return "";
}

bool RunReport::AllPassed() const {
  return stopReason.isEmpty() && std::all_of(results.begin(), results.end(),
                                             [](const StepResult& r) { return r.passed(); });
}

qint64 RunReport::TotalMs() const {
  qint64 total = 0;
  for (const StepResult& r : results) {
    total += r.elapsedMs;
  }
  return total;
}

SequenceRunner::SequenceRunner(CheckSession& session, RunnerOptions options, QObject* parent)
    : QObject(parent), session_(session), options_(std::move(options)) {
  connect(&session_, &CheckSession::Disconnected, this, [this] { linkLost_ = true; });
}

RunReport SequenceRunner::Run(const Sequence& sequence) {
  RunReport report;
  report.name = sequence.name;
  linkLost_ = !session_.Connected();
  for (const Step& step : sequence.steps) {
    if (Stopping()) {
      report.results.push_back({step.Title(), step.line, StepOutcome::NotRun, {}, {}, 0, 0});
      continue;
    }
    StepResult result = RunStep(step);
    if (Stopping() && report.stopReason.isEmpty()) {
      report.stopReason = QStringLiteral("%1 during step %2 (line %3: %4)")
                              .arg(interrupted_ ? kInterrupted : kLinkLost)
                              .arg(report.results.size() + 1)
                              .arg(step.line)
                              .arg(step.Title());
    }
    if (options_.stepDone) {
      options_.stepDone(&step, result);
    }
    report.results.push_back(std::move(result));
  }
  StepResult release = Release();
  if (options_.stepDone) {
    options_.stepDone(nullptr, release);
  }
  report.results.push_back(std::move(release));
  return report;
}

StepResult SequenceRunner::RunStep(const Step& step) {
  StepResult r{step.Title(), step.line, StepOutcome::Passed, {}, {}, 0, 0};
  session_.TakeMessages();
  session_.Prompts().TakeShown();
  QElapsedTimer timer;
  timer.start();
  pausedNs_ = 0;
  if (step.NeedsEditRights() && !session_.Connected()) {
    r.outcome = StepOutcome::Failed;
    r.detail = QStringLiteral("not connected to the I/O server");
  } else {
    using Handler = void (SequenceRunner::*)(const Step&, StepResult&);
    static constexpr Handler kHandlers[] = {
        &SequenceRunner::Force,       &SequenceRunner::Write,         &SequenceRunner::ModeCode,
        &SequenceRunner::Random,      &SequenceRunner::ExpectValue,   &SequenceRunner::ExpectDevice,
        &SequenceRunner::ExpectAlarm, &SequenceRunner::ExpectNoAlarm, &SequenceRunner::Wait};
    (this->*kHandlers[static_cast<int>(step.kind)])(step, r);
  }
  if (Stopping() && r.passed()) {
    r.outcome = StepOutcome::Failed;
  }
  if (Stopping()) {
    r.detail = Join(QStringList{interrupted_ ? kInterrupted : kLinkLost} +
                    (r.detail.isEmpty() ? QStringList() : QStringList{r.detail}));
  }
  r.elapsedMs = timer.elapsed();
  r.busyUs = (timer.nsecsElapsed() - pausedNs_) / 1000;
  return r;
}

bool SequenceRunner::Pause(int ms) {
  QElapsedTimer paused;
  paused.start();
  RunUntil([this] { return Stopping(); }, ms);
  pausedNs_ += paused.nsecsElapsed();
  return !Stopping();
}

void SequenceRunner::CollectReports(StepResult& r, const QStringList& failureCodes) {
  const QStringList reported = session_.Prompts().TakeShown() + session_.TakeMessages();
  QStringList failures;
  for (const QString& text : reported) {
    for (const QString& code : failureCodes) {
      if (text.contains(code)) {
        failures << text;
        break;
      }
    }
  }
  if (!failures.isEmpty()) {
    r.outcome = StepOutcome::Failed;
    r.detail = Join(failures);
  }
}

void SequenceRunner::Force(const Step& step, StepResult& r) {
  ChangeChanValueModel dialog({session_.Configs(), session_.Writer(), session_.Session(),
                               session_.Prompts(), QString::fromLatin1(ProgramTitle),
                               &session_.Session().JournaledOut()});
  dialog.SetChannelID(step.channel);
  if (step.wave && !dialog.WaveControlsEnabled()) {
    r.outcome = StepOutcome::Failed;
    r.detail = QStringLiteral(
                   "channel %1 has no forceable data source (ForcedValue or "
                   "TriangleWave); nothing was written")
                   .arg(step.channel);
    return;
  }
  if (step.wave) {
    dialog.SetMinText(step.wave->min);
    dialog.SetMaxText(step.wave->max);
    dialog.SetPeriodText(step.wave->period);
  } else {
    dialog.SelectOption(ChangeChanValueModel::FixedOption);
  }
  if (step.isNull) {
    dialog.SetNullValue(true);
  } else if (step.value) {
    dialog.SetNewValueText(*step.value);
  }
  const bool closed = dialog.Change();
  if (dialog.WaveControlsEnabled() && !forcedChannels_.contains(step.channel)) {
    forcedChannels_.append(step.channel);
  }
  r.observed = dialog.WaveControlsEnabled()
                   ? QStringLiteral("record written, ForceChannelValue sent")
                   : QStringLiteral("record written (not forceable)");
  CollectReports(
      r, {QStringLiteral("TELM-0036"), QStringLiteral("TELM-0039"), QStringLiteral("TELM-0040"),
          QStringLiteral("TELM-0041"), QStringLiteral("TELM-0027")});
  if (!closed) {
    r.outcome = StepOutcome::Failed;
  }
}

void SequenceRunner::Write(const Step& step, StepResult& r) {
  ChangeChanValuesModel dialog({session_.Configs(), session_.Writer(), session_.Session(),
                                session_.Prompts(), QString::fromLatin1(ProgramTitle)});
  dialog.SetChannelIDList(QLatin1Char('\t') + QString::number(step.channel));
  dialog.txtNewValue = step.value.value_or(QString());
  dialog.chkNullValue = step.isNull;
  const bool closed = dialog.Change();
  r.observed = QStringLiteral("record written");
  CollectReports(r, {QStringLiteral("TELM-0036"), QStringLiteral("TELM-0050")});
  if (!closed) {
    r.outcome = StepOutcome::Failed;
  }
}

void SequenceRunner::ModeCode(const Step& step, StepResult& r) {
  BulkModeCodeWrites bulk({session_.Configs(), session_.Writer(), session_.EditGate(), session_,
                           session_.Prompts(), QString::fromLatin1(ProgramTitle)});
  // The page's boxes and buttons; every button first checks the first box holds a number.
  const QString box = QString::number(step.mode == 2 ? 11 : step.modeValue);
  bulk.txtWriteToAllMCChannels = box;
  bulk.txtWriteToAllCemsInfoMCChannels = box;
  if (step.mode == 0) {
    bulk.cmdWriteToAllMCChannels();
  } else if (step.mode == 1) {
    bulk.cmdWriteToAllCemsInfoMCChannels();
  } else {
    bulk.cmdWriteMC1112ToAllCemsInfoMCChannels();
  }
  const QStringList messages = session_.TakeMessages();
  for (const QString& text : messages) {
    if (text.contains(QLatin1String("[TELM-0076]"))) {
      r.observed = text;
    }
  }
  QStringList failures;
  for (const QString& text : messages + session_.Prompts().TakeShown()) {
    if (text.contains(QLatin1String("TELM-0036")) || text.contains(QLatin1String("TELM-0074")) ||
        text.contains(QLatin1String("TELM-0077")) || text.contains(QLatin1String("TELM-0073")) ||
        text.contains(QLatin1String("TELM-0072")) || text.contains(QLatin1String("TELM-0071"))) {
      failures << text;
    }
  }
  if (!failures.isEmpty() || r.observed.isEmpty()) {
    r.outcome = StepOutcome::Failed;
    r.detail = failures.isEmpty() ? QStringLiteral("no channel was written") : Join(failures);
  }
}

bool SequenceRunner::SelectDevice(std::int32_t id) {
  KeyedListModel& model = session_.DevicesModel();
  const KeyedListModel::RowRef row = model.FindKey(QString::number(id) + QLatin1Char('K'));
  if (row == nullptr) {
    return false;
  }
  model.Select(row);
  return true;
}

void SequenceRunner::Random(const Step& step, StepResult& r) {
  const int index = step.on ? 1 : 0;
  if (!step.device) {
    session_.DeviceOps().PollAll(index);
    allRandom_ = step.on;
    if (!step.on) {
      randomDevices_.clear();
    }
  } else if (!SelectDevice(*step.device)) {
    r.outcome = StepOutcome::Failed;
    r.detail = QStringLiteral("the I/O server reports no device %1").arg(*step.device);
    return;
  } else {
    session_.DeviceOps().PollSelected(index);
    if (step.on) {
      randomDevices_.insert(*step.device);
    } else {
      randomDevices_.remove(*step.device);
    }
  }
  r.observed =
      step.on ? QStringLiteral("random values requested") : QStringLiteral("polling requested");
  CollectReports(r, {QStringLiteral("TELM-0027"), QStringLiteral("Error ")});
}

void SequenceRunner::ExpectValue(const Step& step, StepResult& r) {
  const QString ioid = QString::number(step.channel) + QLatin1Char('C');
  const QString connection = session_.Settings().SqlConnectionString_Realtime();
  QElapsedTimer waited;
  waited.start();
  for (;;) {
    const std::optional<CurrentValues> values =
        session_.Dbil().ReadCurrentValues(connection, QDateTime(), ioid);
    if (!values) {
      r.outcome = StepOutcome::Failed;
      r.detail = QStringLiteral("the realtime database could not be read: ") +
                 Join(session_.TakeMessages());
      return;
    }
    const auto it = values->constFind(ioid);
    if (it != values->constEnd()) {
      r.observed = ChannelListviewManager::ValueText(*it);
      if (ValueMatches(step, *it, r.observed)) {
        return;
      }
    } else {
      r.observed = QStringLiteral("(no realtime value)");
    }
    if (waited.elapsed() >= step.timeoutMs || !Pause(options_.pollIntervalMs)) {
      break;
    }
  }
  r.outcome = StepOutcome::Failed;
  if (!Stopping()) {
    r.detail = QStringLiteral("timed out after %1 s").arg(step.timeoutMs / 1000.0);
  }
}

void SequenceRunner::ExpectDevice(const Step& step, StepResult& r) {
  const auto describe = [](const DeviceState& d) {
    const auto flag = [](const std::optional<bool>& b) {
      return b ? (*b ? QStringLiteral("true") : QStringLiteral("false")) : QStringLiteral("?");
    };
    return QStringLiteral("watchdog-ok=%1 random=%2 failover='%3'")
        .arg(flag(d.watchdogOk), flag(d.random), d.failoverStatus);
  };
  QElapsedTimer waited;
  waited.start();
  for (;;) {
    if (const DeviceState* d = session_.Device(*step.device)) {
      r.observed = describe(*d);
      if ((!step.watchdogOk || d->watchdogOk == step.watchdogOk) &&
          (!step.random || d->random == step.random) &&
          (!step.failover || d->failoverStatus == *step.failover)) {
        return;
      }
    } else {
      r.observed = QStringLiteral("(no device %1 reported)").arg(*step.device);
    }
    if (waited.elapsed() >= step.timeoutMs || !Pause(options_.pollIntervalMs)) {
      break;
    }
  }
  r.outcome = StepOutcome::Failed;
  if (!Stopping()) {
    r.detail = QStringLiteral("timed out after %1 s").arg(step.timeoutMs / 1000.0);
  }
}

namespace {

// The current alarms that a step names.
std::vector<AlarmRow> Matching(const Step& step, const std::vector<AlarmRow>& rows) {
  std::vector<AlarmRow> found;
  for (const AlarmRow& a : rows) {
    if (a.sourceKind == step.alarmSource && a.sourceId == step.alarmSourceId &&
        (!step.alarmCondition || a.condition == *step.alarmCondition) &&
        (!step.alarmState || a.stateCode == *step.alarmState)) {
      found.push_back(a);
    }
  }
  return found;
}

QString AlarmsText(const std::vector<AlarmRow>& rows) {
  QStringList parts;
  for (const AlarmRow& a : rows) {
    parts << QStringLiteral("'%1' %2").arg(a.condition, a.stateCode);
  }
  return parts.isEmpty() ? QStringLiteral("(no alarm)") : parts.join(QStringLiteral(", "));
}

}  // namespace

void SequenceRunner::AwaitAlarms(const Step& step, StepResult& r,
                                 const std::function<bool(const std::vector<AlarmRow>&)>& done) {
  if (!alarms_) {
    alarms_ = std::make_unique<AlarmStore>(session_.Settings().SqlConnectionString_Alarms(),
                                           session_.Settings().DahsID());
  }
  QElapsedTimer waited;
  waited.start();
  for (;;) {
    QString error;
    const auto rows = alarms_->ReadCurrent(&error);
    if (!rows) {
      r.outcome = StepOutcome::Failed;
      r.detail = QStringLiteral("the alarms database could not be read: ") + error;
      return;
    }
    const std::vector<AlarmRow> found = Matching(step, *rows);
    r.observed = AlarmsText(found);
    if (done(found)) {
      return;
    }
    if (waited.elapsed() >= step.timeoutMs || !Pause(options_.pollIntervalMs)) {
      break;
    }
  }
  r.outcome = StepOutcome::Failed;
  if (!Stopping()) {
    r.detail = QStringLiteral("timed out after %1 s").arg(step.timeoutMs / 1000.0);
  }
}

void SequenceRunner::ExpectAlarm(const Step& step, StepResult& r) {
  AwaitAlarms(step, r, [](const std::vector<AlarmRow>& found) { return !found.empty(); });
}

// Without a state, only an alarm whose condition still stands counts: one that cleared and
// waits for its acknowledgement is no alarm any more for the plant.
void SequenceRunner::ExpectNoAlarm(const Step& step, StepResult& r) {
  const bool anyState = !step.alarmState;
  AwaitAlarms(step, r, [anyState](const std::vector<AlarmRow>& found) {
    return std::none_of(found.begin(), found.end(),
                        [anyState](const AlarmRow& a) { return !anyState || a.active; });
  });
}

void SequenceRunner::Wait(const Step& step, StepResult& r) {
  Pause(step.waitMs);
  r.observed = QStringLiteral("waited");
}

StepResult SequenceRunner::Release() {
  StepResult r{QStringLiteral("release"), 0, StepOutcome::Passed, {}, {}, 0, 0};
  QElapsedTimer timer;
  timer.start();
  QStringList done;
  QStringList notes;
  if (allRandom_ || !randomDevices_.isEmpty()) {
    if (!session_.Connected() && !session_.Reconnect(options_.reconnectMs)) {
      r.outcome = StepOutcome::Failed;
      notes << QStringLiteral("devices not put back to polling: not connected to the I/O server");
    } else if (allRandom_) {
      session_.DeviceOps().PollAll(0);
      done << QStringLiteral("all devices back to polling");
    } else {
      QList<std::int32_t> ids = randomDevices_.values();
      std::sort(ids.begin(), ids.end());
      for (const std::int32_t id : ids) {
        if (SelectDevice(id)) {
          session_.DeviceOps().PollSelected(0);
          done << QStringLiteral("device %1 back to polling").arg(id);
        }
      }
    }
  }
  if (!forcedChannels_.isEmpty()) {
    QStringList ids;
    for (const std::int32_t id : forcedChannels_) {
      ids << QString::number(id);
    }
    notes << QStringLiteral("left forced (no command puts a forced channel back): ") +
                 ids.join(QStringLiteral(", "));
  }
  r.observed = done.isEmpty() ? QStringLiteral("nothing to put back") : Join(done);
  r.detail = Join(notes);
  r.elapsedMs = timer.elapsed();
  r.busyUs = timer.nsecsElapsed() / 1000;
  return r;
}

}  // namespace telmon::check
