#pragma once

// What the device, queue and block pages share: a manager holds the message sink, the command
// sender and the list it fills (it owns none of them), keeps one row per entity under the key
// "<ID>K", shows a placeholder row until the first event, and writes a cell only when the
// event carries a value for it, so a partial event never blanks what an earlier one showed.

#include "ioslink/ICommandSender.h"
#include "util/ColorRef.h"
#include "util/IRaiseMsg.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "views/KeyedListModel.h"
#include "views/PlantState.h"

#include <QString>

#include <optional>
#include <span>

namespace telmon {

class ListviewManagerBase {
 public:
  using RowRef = KeyedListModel::RowRef;

  virtual ~ListviewManagerBase() = default;
  ListviewManagerBase(const ListviewManagerBase&) = delete;
  ListviewManagerBase& operator=(const ListviewManagerBase&) = delete;

  void Setup(IRaiseMsg& sink, ICommandSender& sender, KeyedListModel& lsv);
  void Teardown();
  void InitializeLsv();
  // Applies every event of this page's type found in the XML text; failures are reported
  // with the page's code.
  void UpdateLsv(const QString& xmlText);
  // One event for this page. Throws on a failure other than a row not found yet.
  virtual void UpdateOneItemInLsv(xml::XmlElement event) = 0;

  KeyedListModel* Lsv() const { return lsv_; }
  // The plant state the page's events go into: a session's, shared with its other readers, or
  // else the page's own.
  void SetPlantState(PlantState& plant) { plant_ = &plant; }
  const PlantState& Plant() const { return *plant_; }

 protected:
  struct PageTraits {
    std::span<const ListColumn> columns;
    const char* placeholder;
    bool sorted;
    const char* eventXPath;
    const char* failureCode;
    const char* idAttribute;
  };
  explicit ListviewManagerBase(const PageTraits& traits) : traits_(traits) {}

  // The row of the event's entity, created when new; null after Teardown. Clears the
  // placeholder first.
  RowRef PrepareRow(xml::XmlElement event);
  // The same for an ID already read from its event, as text or as attribute `idIndex` of a
  // table read once.
  RowRef PrepareRowFor(const QString& id);
  RowRef PrepareRow(const xml::AttributeTable& attributes, std::size_t idIndex);
  // Forgets this page's entities in the plant state when the page starts again.
  virtual void ClearPlant() {}
  // Writes the text when it is not empty.
  void WriteText(RowRef row, int column, const QString& text);
  // The same for attribute i of a table read once per event.
  void WriteText(RowRef row, int column, const xml::AttributeTable& attributes, std::size_t i);
  // Colours the whole row, repainting only when the colour changes.
  void ApplyColor(RowRef row, ColorRef color);
  void Send(const QString& command);
  RowRef FindRowForId(const QString& id) const;

  IRaiseMsg* sink_ = nullptr;
  ICommandSender* sender_ = nullptr;
  KeyedListModel* lsv_ = nullptr;
  PlantState* plant_ = &ownPlant_;

 private:
  // The row under `key`, made when new, after clearing the placeholder.
  RowRef RowForKey(const QString& key);

  PlantState ownPlant_;
  PageTraits traits_;
};

}  // namespace telmon
