#pragma once

// QCustomPlot's header uses Qt's plain keywords, which this project switches off; they are
// lent to it for the one include and taken back after.

#define signals Q_SIGNALS
#define slots Q_SLOTS
#define emit Q_EMIT
#define foreach Q_FOREACH
#include <qcustomplot.h>  // IWYU pragma: export
#undef foreach
#undef emit
#undef slots
#undef signals
