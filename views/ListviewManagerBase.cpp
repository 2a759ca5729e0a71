#include "views/ListviewManagerBase.h"

#include "util/TextConversionFunctions.h"
#include "views/ViewErrors.h"

#include <algorithm>
#include <array>

namespace telmon {

void ListviewManagerBase::Setup(IRaiseMsg& sink, ICommandSender& sender, KeyedListModel& lsv) {
  sink_ = &sink;
  sender_ = &sender;
  lsv_ = &lsv;
  InitializeLsv();
}

void ListviewManagerBase::Teardown() {
  sink_ = nullptr;
  sender_ = nullptr;
  lsv_ = nullptr;
}

void ListviewManagerBase::InitializeLsv() {
  ClearPlant();
  if (lsv_ == nullptr) {
    return;
  }
  lsv_->Clear();
  lsv_->SetSorted(false);
  for (const ListColumn& column : traits_.columns) {
    lsv_->AddColumn(column);
  }
  lsv_->SetSorted(traits_.sorted);
  lsv_->AddRow(QString(), QString::fromLatin1(traits_.placeholder));
}

void ListviewManagerBase::UpdateLsv(const QString& xmlText) {
  if (lsv_ == nullptr) {
    return;
  }
  try {
    const xml::XmlDocument doc = xml::ParseXmlFragment(sink_, xmlText);
    if (!doc) {
      throw ListError::ObjectNotSetError();
    }
    KeyedListModel::Batch batch(*lsv_);
    for (xml::XmlElement event : xml::SelectNodes(doc, traits_.eventXPath)) {
      UpdateOneItemInLsv(event);
    }
  } catch (...) {
    if (sink_ != nullptr) {
      sink_->RaiseMsg(MsgType::Error,
                      ListError::CurrentFailureText(QString::fromLatin1(traits_.failureCode)));
    }
  }
}

ListviewManagerBase::RowRef ListviewManagerBase::PrepareRowFor(const QString& id) {
  return RowForKey(id + QLatin1Char('K'));
}

ListviewManagerBase::RowRef ListviewManagerBase::PrepareRow(xml::XmlElement event) {
  if (lsv_ == nullptr) {
    return nullptr;
  }
  const std::array<const char*, 1> idName = {traits_.idAttribute};
  return PrepareRow(xml::AttributeTable(event, idName), 0);
}

ListviewManagerBase::RowRef ListviewManagerBase::PrepareRow(const xml::AttributeTable& attributes,
                                                            std::size_t idIndex) {
  if (lsv_ == nullptr) {
    return nullptr;
  }
  // The key "<ID>K" is made in one allocation: this runs for every event of a busy page.
  QString key;
  const std::optional<QByteArrayView> id = attributes.InPlace(idIndex);
  if (id && std::all_of(id->begin(), id->end(), [](char c) { return (c & 0x80) == 0; })) {
    key = QString(id->size() + 1, Qt::Uninitialized);
    QChar* out = key.data();
    for (const char c : *id) {
      *out++ = QLatin1Char(c);
    }
    *out = QLatin1Char('K');
  } else {
    key = attributes.Text(idIndex) + QLatin1Char('K');
  }
  return RowForKey(key);
}

ListviewManagerBase::RowRef ListviewManagerBase::RowForKey(const QString& key) {
  if (lsv_ == nullptr) {
    return nullptr;
  }
  if (lsv_->IsEmpty()) {
    InitializeLsv();
  }
  const RowRef first = lsv_->FirstRow();
  if (first != nullptr && lsv_->Text(first) == QLatin1String(traits_.placeholder)) {
    lsv_->ClearRows();
  }
  RowRef row = lsv_->FindKey(key);
  if (row == nullptr) {
    row = lsv_->AddRow(key, key.chopped(1));
  }
  return row;
}

void ListviewManagerBase::WriteText(RowRef row, int column, const QString& text) {
  if (!text.isEmpty()) {
    lsv_->SetSubItem(row, column, text);
  }
}

void ListviewManagerBase::WriteText(RowRef row, int column, const xml::AttributeTable& attributes,
                                    std::size_t i) {
  if (const std::optional<QByteArrayView> value = attributes.InPlace(i)) {
    if (!value->isEmpty()) {
      lsv_->SetSubItemUtf8(row, column, *value);
    }
    return;
  }
  const QString text = attributes.Text(i);
  if (!text.isEmpty()) {
    lsv_->SetSubItem(row, column, text);
  }
}

void ListviewManagerBase::ApplyColor(RowRef row, ColorRef color) {
  if (lsv_->RowColor(row) != color) {
    lsv_->SetRowColor(row, color);
  }
}

void ListviewManagerBase::Send(const QString& command) {
  if (sender_ != nullptr) {
    sender_->SendCommand(command);
  }
}

ListviewManagerBase::RowRef ListviewManagerBase::FindRowForId(const QString& id) const {
  return lsv_ == nullptr ? nullptr : lsv_->FindKey(id + QLatin1Char('K'));
}

}  // namespace telmon
