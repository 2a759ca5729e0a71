#include "views/ui/BlocksPage.h"

#include "views/ui/ListFilterEdit.h"

#include <QVBoxLayout>

namespace telmon {

BlocksPage::BlocksPage(KeyedListModel& blocks, QWidget* parent)
    : QWidget(parent), lsvBlocks_(new KeyedListView(this)) {
  lsvBlocks_->setObjectName(QStringLiteral("lsvBlocks"));
  lsvBlocks_->SetListModel(&blocks);
  auto* layout = new QVBoxLayout(this);
  auto* filter = new ListFilterEdit(this);
  filter->setObjectName(QStringLiteral("txtFilterBlocks"));
  filter->Attach(lsvBlocks_);
  layout->addWidget(filter);
  layout->addWidget(lsvBlocks_, 1);
}

}  // namespace telmon
