#pragma once

// What the value dialogs and the bulk writes need of the main window.

#include <QString>

#include <cstdint>
#include <functional>

namespace telmon {

class ChannelConfigInfoManager;
class IChannelValueWriter;
class ICommandSender;
class JournaledSender;
class IEditGate;
class IRaiseMsg;
class Prompter;

struct ChangeValueServices {
  const ChannelConfigInfoManager& configs;
  IChannelValueWriter& writer;
  ICommandSender& sender;
  Prompter& prompter;
  // Caption of the message boxes: the program's title.
  QString title;
  // Where the forcing commands go out, journaled; none: `sender`, unjournaled.
  JournaledSender* journaled = nullptr;
  // A channel's value as the last update showed it (empty when unknown), journaled as what the
  // channel had before it was forced.
  std::function<QString(std::int32_t)> previousValue;
};

// "<code><number>, <description>" in a message box with an exclamation icon, for the exception
// being handled; call inside a catch.
void ReportFailure(Prompter& prompter, const QString& title, const QString& codePrefix);

}  // namespace telmon
