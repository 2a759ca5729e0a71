#pragma once

// Readable QString values in test failure messages.

#include <QString>

#include <ostream>

inline void PrintTo(const QString& s, std::ostream* os) { *os << '"' << s.toStdString() << '"'; }
