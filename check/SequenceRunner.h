#pragma once

// Carries out a sequence against the site, step after step, on the event loop: each step
// passes or fails with what was observed and how long it took. A step that fails lets the run
// go on; the I/O server closing the link or an interrupt stops it. Whatever happened, the run
// ends with one release that puts the devices it switched to random values back to polling
// and names the channels it forced, which no command puts back.

#include "alarms/AlarmStore.h"
#include "check/CheckSession.h"
#include "check/Sequence.h"

#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace telmon::check {

enum class StepOutcome { Passed, Failed, NotRun };

struct StepResult {
  QString title;
  int line = 0;  // 0: the release
  StepOutcome outcome = StepOutcome::NotRun;
  QString observed;
  QString detail;
  qint64 elapsedMs = 0;
  // Time the step spent working (writing, sending, reading), without the waits between reads.
  qint64 busyUs = 0;
  bool passed() const { return outcome == StepOutcome::Passed; }
};

struct RunReport {
  QString name;
  std::vector<StepResult> results;  // one per step, then the release
  QString stopReason;               // why the run stopped early; empty when it did not
  bool AllPassed() const;
  qint64 TotalMs() const;
};

struct RunnerOptions {
  // How often an expectation reads the realtime database.
  int pollIntervalMs = 250;
  // How long the release waits for a link that closed to come back.
  int reconnectMs = 5000;
  // Told of every step once it has been carried out (the release included), in order. The
  // changes themselves are journaled by the operations that make them.
  std::function<void(const Step*, const StepResult&)> stepDone;
};

class SequenceRunner : public QObject {
  Q_OBJECT

 public:
  SequenceRunner(CheckSession& session, RunnerOptions options, QObject* parent = nullptr);

  // Runs every step and the release; returns once the release is done.
  RunReport Run(const Sequence& sequence);
  // Ctrl-C: the current step fails, the rest are not run, the release runs once.
  void Interrupt() { interrupted_ = true; }

 private:
  StepResult RunStep(const Step& step);
  void Force(const Step& step, StepResult& r);
  void Write(const Step& step, StepResult& r);
  void ModeCode(const Step& step, StepResult& r);
  void Random(const Step& step, StepResult& r);
  void ExpectValue(const Step& step, StepResult& r);
  void ExpectDevice(const Step& step, StepResult& r);
  void ExpectAlarm(const Step& step, StepResult& r);
  void ExpectNoAlarm(const Step& step, StepResult& r);
  // Polls the current alarms until `done` holds for the matching ones or the step times out.
  void AwaitAlarms(const Step& step, StepResult& r,
                   const std::function<bool(const std::vector<AlarmRow>&)>& done);
  void Wait(const Step& step, StepResult& r);
  StepResult Release();
  bool SelectDevice(std::int32_t id);
  // Waits `ms` on the event loop; false when the link closed or an interrupt came.
  bool Pause(int ms);
  // The messages and boxes of the step so far; failures among them fail the step.
  void CollectReports(StepResult& r, const QStringList& failureCodes);
  bool Stopping() const { return interrupted_ || linkLost_; }

  CheckSession& session_;
  RunnerOptions options_;
  bool interrupted_ = false;
  bool linkLost_ = false;
  qint64 pausedNs_ = 0;
  bool allRandom_ = false;
  QSet<std::int32_t> randomDevices_;
  QList<std::int32_t> forcedChannels_;
  std::unique_ptr<AlarmStore> alarms_;  // opened by the first alarm step
};

const char* OutcomeText(StepOutcome outcome);

}  // namespace telmon::check
