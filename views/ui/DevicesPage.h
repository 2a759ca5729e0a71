#pragma once

// The Devices page: the device list and the eight device buttons.

#include "views/DeviceOperations.h"
#include "views/ui/KeyedListView.h"

#include <QGridLayout>
#include <QPushButton>
#include <QWidget>

#include <vector>

namespace telmon {

class DevicesPage : public QWidget {
  Q_OBJECT

 public:
  DevicesPage(KeyedListModel& devices, DeviceOperations& operations, QWidget* parent = nullptr);

  KeyedListView* lsvDevices() const { return lsvDevices_; }
  // cmdPoll(index) and cmdPollOne(index): 1 random values, 0 polling.
  QPushButton* cmdPoll(int index) const { return cmdPoll_[index == 1 ? 1 : 0]; }
  QPushButton* cmdPollOne(int index) const { return cmdPollOne_[index == 1 ? 1 : 0]; }
  QPushButton* cmdChangeIPAddress() const { return cmdChangeIPAddress_; }
  QPushButton* cmdSetClock() const { return cmdSetClock_; }
  QPushButton* cmdEraseHDR() const { return cmdEraseHDR_; }
  QPushButton* cmdFailover() const { return cmdFailover_; }

 private:
  QPushButton* AddButton(const char* objectName, const char* caption, const char* toolTip);
  // One row when every caption fits the page's width, two rows of four when not.
  void ArrangeButtons(int width);

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  KeyedListView* lsvDevices_;
  QPushButton* cmdPoll_[2] = {};
  QPushButton* cmdPollOne_[2] = {};
  QPushButton* cmdChangeIPAddress_ = nullptr;
  QPushButton* cmdSetClock_ = nullptr;
  QPushButton* cmdEraseHDR_ = nullptr;
  QPushButton* cmdFailover_ = nullptr;
  QWidget* buttonRow_;
  QGridLayout* buttons_;
  std::vector<QPushButton*> order_;
  int perRow_ = 0;
};

}  // namespace telmon
