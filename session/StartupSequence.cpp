#include "session/StartupSequence.h"

#include "util/ErrorInfo.h"

namespace telmon {

bool StartupSequence::Run(const std::vector<StartupStep>& steps, IStartupProgress& progress,
                          IRaiseMsg& sink) {
  try {
    for (const StartupStep& step : steps) {
      currentStep_ = step.name;
      if (!step.splashText.isEmpty()) {
        progress.SetProgressText(step.splashText);
      }
      if (step.work && !step.work()) {
        sink.RaiseMsg(MsgType::Error, step.failureMessage);
        return false;
      }
      if (step.progressValue >= 0) {
        progress.SetProgressValue(step.progressValue);
      }
    }
    return true;
  } catch (...) {
    const ErrorInfo e = CurrentErrorInfo();
    sink.RaiseMsg(MsgType::Error, QStringLiteral("TELM-0009: %1, %2; Step=\"%3\"")
                                      .arg(e.number)
                                      .arg(e.description, currentStep_));
    return false;
  }
}

}  // namespace telmon
