#pragma once

// The progress of the grouped record writes: a bar with the count of records dealt with and a
// Cancel button, shown only when a write lasts longer than half a second.

#include "watches/IChannelValueWriter.h"

#include <QPointer>

class QProgressDialog;
class QWidget;

namespace telmon {

class WriteProgressDialog final : public IWriteProgress {
 public:
  explicit WriteProgressDialog(QWidget* owner);
  ~WriteProgressDialog() override;
  WriteProgressDialog(const WriteProgressDialog&) = delete;
  WriteProgressDialog& operator=(const WriteProgressDialog&) = delete;

  void Begin(std::size_t total, std::function<void()> cancel) override;
  void Advance(std::size_t done) override;
  void End() override;

  QProgressDialog* Dialog() const;

  // "Writing records: <done> of <total>"
  static QString LabelText(std::size_t done, std::size_t total);

 private:
  QWidget* owner_;
  QPointer<QProgressDialog> dialog_;
  std::size_t total_ = 0;
};

}  // namespace telmon
