#pragma once

// Stand-ins for the benchmarks: a message sink, a command sender, the status panels, an edit
// gate and a prompter that only count what reaches them, so that a run measures the work
// itself and can still tell a failed run from a good one.

#include "ioslink/ICommandSender.h"
#include "platform/Prompter.h"
#include "util/IRaiseMsg.h"
#include "views/ChannelUpdateTick.h"
#include "views/IEditGate.h"

#include <cstdint>
#include <optional>

namespace telmon::bench {

struct QuietSink final : IRaiseMsg {
  std::int64_t count = 0;
  int errors = 0;  // messages of type 4
  void RaiseMsg(std::int32_t type, const QString&) override {
    ++count;
    errors += type == 4 ? 1 : 0;
  }
};

struct NullSender final : ICommandSender {
  SendOutcome SendCommand(const QString&) override { return {true, {}}; }
};

struct NoPanels final : IChannelTickPanels {
  void SetChannelUpdateTime(const QString&) override {}
  void SetAllRefreshTime(const QString&) override {}
  void SetAllRefreshToolTip(const QString&) override {}
  void SetNotPollingVisible(bool) override {}
  void BeginBusy() override {}
  void EndBusy() override {}
};

struct OpenEditGate final : IEditGate {
  bool EditsAllowed() const override { return true; }
  bool AskWhetherUserWantsToEnableEditing() override { return true; }
};

// Gives every question the same answer and cancels everything else.
class AnsweringPrompter final : public Prompter {
 public:
  explicit AnsweringPrompter(PromptAnswer answer) : answer_(answer) {}
  int asked = 0;
  PromptAnswer Ask(const PromptQuestion&) override {
    ++asked;
    return answer_;
  }
  std::optional<QString> InputText(const QString&, const QString&, const QString&) override {
    return std::nullopt;
  }
  std::optional<QString> SaveFileName(const FileDialogRequest&) override { return std::nullopt; }
  std::optional<QString> OpenFileName(const FileDialogRequest&) override { return std::nullopt; }
  std::optional<Credentials> AskCredentials(const QString&, const QString&) override {
    return std::nullopt;
  }
  void Beep() override {}

 private:
  PromptAnswer answer_;
};

}  // namespace telmon::bench
