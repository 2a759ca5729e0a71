#pragma once

// A run's results for people and for build servers: a plain table, TAP (version 13) and a
// JUnit XML file, one test case per step and one for the release.

#include "check/SequenceRunner.h"

#include <QString>

namespace telmon::check {

QString TableReport(const RunReport& report);
QString TapReport(const RunReport& report);
// The JUnit XML text (UTF-8), written through libxml2.
QByteArray JUnitReport(const RunReport& report, const QString& suiteName);
bool WriteJUnitFile(const RunReport& report, const QString& suiteName, const QString& path,
                    QString* error);

}  // namespace telmon::check
