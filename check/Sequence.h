#pragma once

// A commissioning test sequence: the steps telmon-check carries out in order, read from a YAML
// file. Everything in the file is checked before a step runs, so that a fault in the file never
// leaves the plant half changed: an unknown step or field, a missing field or a value of the
// wrong type refuses the whole file with the line and column of the fault.

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace telmon::check {

enum class StepKind {
  Force,
  Write,
  ModeCode,
  Random,
  ExpectValue,
  ExpectDevice,
  ExpectAlarm,
  ExpectNoAlarm,
  Wait
};

// A triangle wave as the one-channel dialog takes it: the texts of its three boxes.
struct WaveSpec {
  QString min;
  QString max;
  QString period;
};

enum class ValueMatch { Equals, Near, Matches };

struct Step {
  StepKind kind = StepKind::Wait;
  int line = 0;  // 1-based position of the step in the file
  int column = 0;

  std::int32_t channel = 0;
  // Force and Write: the value as it would be typed into the dialog; Null when `isNull`.
  std::optional<QString> value;
  bool isNull = false;
  std::optional<WaveSpec> wave;

  int mode = 0;  // ModeCode: 0 every MC channel, 1 analyzer ones, 2 analyzer ones with 11/12
  int modeValue = 0;

  std::optional<std::int32_t> device;  // Random, ExpectDevice; Random without one: all devices
  bool on = false;

  ValueMatch match = ValueMatch::Equals;
  QString expected;  // Equals: text or number; Near: number; Matches: regular expression
  double tolerance = 0;

  std::optional<bool> watchdogOk;
  std::optional<bool> random;
  std::optional<QString> failover;

  // ExpectAlarm and ExpectNoAlarm: the alarm's source ("DEVICE", "BLOCK", "CHANNEL") and ID,
  // and, when given, its condition and its state ("ACTIVE_UNACK", ...).
  QString alarmSource;
  std::int32_t alarmSourceId = 0;
  std::optional<QString> alarmCondition;
  std::optional<QString> alarmState;

  int timeoutMs = 10000;  // the Expect steps
  int waitMs = 0;         // Wait

  // One line naming the step, for reports: "force 10201 = 42.75".
  QString Title() const;
  // Force, Write, ModeCode and Random change the plant and need edit rights.
  bool NeedsEditRights() const;
};

struct Sequence {
  QString name;
  std::vector<Step> steps;
  bool NeedsEditRights() const;
};

struct LoadResult {
  std::optional<Sequence> sequence;
  QString error;  // "<file>:<line>:<column>: <what>" when refused
};

// Sequence files above this size are refused unread.
inline constexpr qint64 MaxSequenceFileBytes = qint64{1024} * 1024;

LoadResult LoadSequenceText(const QByteArray& text, const QString& sourceName);
LoadResult LoadSequenceFile(const QString& path);

}  // namespace telmon::check
