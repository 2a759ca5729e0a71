#include "tools/ui/CalHdrFrame.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace telmon {

namespace {

constexpr std::size_t RowsPerColumn = CalHdrRowCount / 2;

QLineEdit* GridBox(const char* name, std::size_t index, int width) {
  auto* box = new QLineEdit;
  box->setObjectName(QStringLiteral("%1_%2").arg(QLatin1String(name)).arg(index));
  box->setProperty("Index", static_cast<int>(index));
  box->setMinimumWidth(width);
  return box;
}

}  // namespace

CalHdrFrame::CalHdrFrame(const ChannelConfigInfoManager& configs,
                         const CalHdrWriteServices& services, QWidget* parent)
    : QFrame(parent), configs_(configs), services_(services) {
  setObjectName(QStringLiteral("fraCalHDR"));
  setFrameShape(QFrame::StyledPanel);
  auto* layout = new QVBoxLayout(this);
  auto* title = new QLabel(QStringLiteral("Populate Cal HDR Channels"));
  title->setObjectName(QStringLiteral("lblCalHDRFrameTitle"));
  QFont bold = title->font();
  bold.setBold(true);
  title->setFont(bold);
  layout->addWidget(title);
  auto* columns = new QHBoxLayout;
  columns->addWidget(BuildColumn(0));
  columns->addWidget(BuildColumn(RowsPerColumn));
  layout->addLayout(columns);

  load_ = new QPushButton(QStringLiteral("Load List"));
  load_->setObjectName(QStringLiteral("cmdCalHDRLoadList"));
  load_->setToolTip(QStringLiteral("Get list of channel name prefixes and estimated spans"));
  write_ = new QPushButton(QStringLiteral("Write"));
  write_->setObjectName(QStringLiteral("cmdCalHDRWrite"));
  write_->setToolTip(QStringLiteral("Write cal HDR data"));
  connect(load_, &QPushButton::clicked, this, &CalHdrFrame::LoadList);
  connect(write_, &QPushButton::clicked, this, &CalHdrFrame::Write);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(load_);
  buttons->addWidget(write_);
  buttons->addStretch();
  layout->addLayout(buttons);
}

QWidget* CalHdrFrame::BuildColumn(std::size_t first) {
  auto* column = new QWidget;
  auto* grid = new QGridLayout(column);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->addWidget(new QLabel(QStringLiteral("Chan Name Prefix")), 0, 0);
  grid->addWidget(new QLabel(QStringLiteral("Span")), 0, 1);
  for (std::size_t i = first; i < first + RowsPerColumn; ++i) {
    prefixes_[i] = GridBox("txtCalHDRChannelNamePrefix", i, 180);
    spans_[i] = GridBox("txtCalHDRSpan", i, 60);
    const int row = static_cast<int>(i - first) + 1;
    grid->addWidget(prefixes_[i], row, 0);
    grid->addWidget(spans_[i], row, 1);
  }
  grid->setColumnStretch(0, 3);
  grid->setColumnStretch(1, 1);
  return column;
}

CalHdrGrid CalHdrFrame::Grid() const {
  CalHdrGrid grid;
  for (std::size_t i = 0; i < CalHdrRowCount; ++i) {
    grid[i] = {prefixes_[i]->text(), spans_[i]->text()};
  }
  return grid;
}

void CalHdrFrame::SetGrid(const CalHdrGrid& grid) {
  for (std::size_t i = 0; i < CalHdrRowCount; ++i) {
    prefixes_[i]->setText(grid[i].prefix);
    spans_[i]->setText(grid[i].span);
  }
}

void CalHdrFrame::LoadList() {
  CalHdrGrid grid = Grid();
  LoadCalHdrList(configs_.NewEnum(), services_.sink, grid);
  SetGrid(grid);
}

void CalHdrFrame::Write() { WriteCalHdrChannels(Grid(), configs_.NewEnum(), services_); }

}  // namespace telmon
