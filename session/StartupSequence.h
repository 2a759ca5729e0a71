#pragma once

// Start-up as a fixed sequence of named steps. Each step's name is kept so that an unexpected
// error can say where it happened; the splash text is set before a step's work and the progress
// value after it, so the bar only reaches a value when its step succeeded.

#include "util/IRaiseMsg.h"

#include <QString>

#include <functional>
#include <vector>

namespace telmon {

class IStartupProgress {
 public:
  virtual ~IStartupProgress() = default;
  virtual void SetProgressText(const QString& text) = 0;
  virtual void SetProgressValue(int value) = 0;
};

struct StartupStep {
  QString name;
  QString splashText;      // empty: leave the text as it is
  int progressValue = -1;  // -1: leave the value as it is
  QString failureMessage;  // raised (type 4) when the work returns false
  std::function<bool()> work;
};

class StartupSequence {
 public:
  // Runs the steps in order; returns false after the first step that fails or throws.
  bool Run(const std::vector<StartupStep>& steps, IStartupProgress& progress, IRaiseMsg& sink);
  const QString& CurrentStep() const { return currentStep_; }

 private:
  QString currentStep_;
};

}  // namespace telmon
