#include "views/ui/BlocksPage.h"

#include <QVBoxLayout>

namespace telmon {

BlocksPage::BlocksPage(KeyedListModel& blocks, QWidget* parent)
    : QWidget(parent), lsvBlocks_(new KeyedListView(this)) {
  lsvBlocks_->setObjectName(QStringLiteral("lsvBlocks"));
  lsvBlocks_->SetListModel(&blocks);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lsvBlocks_);
}

}  // namespace telmon
