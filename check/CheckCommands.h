#pragma once

// The commands of telmon-check over a started session. Each writes its output to `out`
// and returns the program's exit code.

#include "check/CheckCommandLine.h"
#include "check/CheckSession.h"
#include "check/Interrupts.h"
#include "check/Sequence.h"

#include <QJsonArray>

#include <cstdio>

namespace telmon::check {

int StatusCommand(CheckSession& session, const CheckCommandLine& cl, std::FILE* out);
// The current alarms from the site's alarms database; exit 2 when it cannot be read.
int AlarmsCommand(CheckSession& session, const CheckCommandLine& cl, std::FILE* out);
int WatchCommand(CheckSession& session, const CheckCommandLine& cl, Interrupts& interrupts,
                 std::FILE* out);
int RunCommand(CheckSession& session, const Sequence& sequence, const CheckCommandLine& cl,
               Interrupts& interrupts, std::FILE* out);

// The list models' rows as text: a table with the columns' titles, or JSON objects.
QString ModelTable(KeyedListModel& model);
QJsonArray ModelJson(KeyedListModel& model);

}  // namespace telmon::check
