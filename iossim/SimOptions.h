#pragma once

// Command-line options of the simulator.

#include "iossim/SimClient.h"

#include <QHostAddress>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

namespace telmon::iossim {

struct SimOptions {
  QString settingsSource;  // folder or file of the settings; empty = the environment's folder
  int dahsId = 1;
  std::optional<quint16> port;  // empty = from the site's lookups; 0 = any free port
  QHostAddress host = QHostAddress(QHostAddress::LocalHost);
  QList<int> faultyDevices;
  std::uint64_t seed = 0;
  OutputFaults faults;
  bool sendUnknown = false;
  bool sendGarbage = false;
  int chaosIntervalMs = 5000;
  int eventRate = 0;  // extra update events per second
  bool verbose = false;
  bool trace = false;                      // a trace message (type 8) for every command handled
  std::optional<int> releaseForcedAfterS;  // empty = forced channels stay forced
};

enum class OptionsOutcome { Run, ShowHelp, Error };

// Parses the arguments (the first is the program). On ShowHelp or Error, `message` holds the
// help text (or, for --version, the program's name and version) or the reason.
OptionsOutcome ParseSimOptions(const QStringList& arguments, SimOptions* options, QString* message);

}  // namespace telmon::iossim
