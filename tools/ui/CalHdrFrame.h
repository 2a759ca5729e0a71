#pragma once

// The "Populate Cal HDR Channels" frame of the "Bulk Writes" page: sixteen channel-name prefix
// and span boxes in two columns of eight, "Load List" to propose them from the channel
// configuration, and "Write" to fill the calibration history channels.

#include "tools/CalHdrChannelList.h"
#include "tools/CalHdrWrite.h"

#include <QFrame>

#include <array>

class QLineEdit;
class QPushButton;

namespace telmon {

class CalHdrFrame : public QFrame {
  Q_OBJECT

 public:
  CalHdrFrame(const ChannelConfigInfoManager& configs, const CalHdrWriteServices& services,
              QWidget* parent = nullptr);

  // The grid as the boxes hold it, and back.
  CalHdrGrid Grid() const;
  void SetGrid(const CalHdrGrid& grid);
  QLineEdit* PrefixBox(std::size_t index) const { return prefixes_.at(index); }
  QLineEdit* SpanBox(std::size_t index) const { return spans_.at(index); }
  QPushButton* cmdCalHDRLoadList() const { return load_; }
  QPushButton* cmdCalHDRWrite() const { return write_; }

  void LoadList();
  void Write();

 private:
  QWidget* BuildColumn(std::size_t first);

  const ChannelConfigInfoManager& configs_;
  CalHdrWriteServices services_;
  std::array<QLineEdit*, CalHdrRowCount> prefixes_{};
  std::array<QLineEdit*, CalHdrRowCount> spans_{};
  QPushButton* load_ = nullptr;
  QPushButton* write_ = nullptr;
};

}  // namespace telmon
