#pragma once

// Turns one command element from a monitor into the plant operation it names, and answers
// with the events for that monitor: the requested information, and a "Message" event that
// says what was done or why not.

#include "util/UtilityXMLDOMFunctions.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace telmon::iossim {

class SimPlant;

class CommandDispatcher {
 public:
  explicit CommandDispatcher(SimPlant& plant) : plant_(plant) {}

  // With tracing on, every command is answered first with a trace message naming it.
  void SetTrace(bool on) { trace_ = on; }

  QList<QByteArray> Handle(const QByteArray& element);
  // Bytes between elements that cannot be a command.
  QList<QByteArray> HandleJunk(const QByteArray& junk) const;

 private:
  QList<QByteArray> Dispatch(const QString& action, xml::XmlElement command);

  SimPlant& plant_;
  bool trace_ = false;
};

}  // namespace telmon::iossim
