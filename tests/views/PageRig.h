#pragma once

// The four list pages as the main window builds them, each over its own list and manager, with
// real peers: commands go out over a loopback socket, questions to a scripted prompter, and
// edits are always allowed.

#include "platform/testing/ScriptedPrompter.h"
#include "tests/views/ViewsTestSupport.h"
#include "views/BlockListviewManager.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/ChannelListviewManager.h"
#include "views/DeviceListviewManager.h"
#include "views/DeviceOperations.h"
#include "views/QueueListviewManager.h"
#include "views/ui/BlocksPage.h"
#include "views/ui/ChannelsPage.h"
#include "views/ui/DevicesPage.h"
#include "views/ui/QueuesPage.h"

namespace telmon::test {

class AlwaysEditing final : public IEditGate {
 public:
  bool EditsAllowed() const override { return true; }
  bool AskWhetherUserWantsToEnableEditing() override { return true; }
};

struct PageRig {
  PageRig() {
    deviceList.Setup(sink, peer, devices);
    queueList.Setup(sink, peer, queues);
    blockList.Setup(sink, peer, blocks);
    ChannelPageServices services;
    services.sink = &sink;
    services.prompter = &prompter;
    services.configs = &configs;
    services.appTitle = QStringLiteral("Telmon");
    channelList.Setup(services, channels, 3);
  }
  // Applies every event of the fragment to the device list, as the connection does.
  void Devices(const QString& fragment) {
    const ParsedEvents events(fragment);
    for (xml::XmlElement event : events.All()) {
      deviceList.UpdateOneItemInLsv(event);
    }
  }

  CollectingSink sink;
  LoopbackPeer peer;
  ScriptedPrompter prompter;
  AlwaysEditing edit;
  ChannelConfigInfoManager configs;
  KeyedListModel devices, queues, blocks, channels;
  DeviceListviewManager deviceList;
  QueueListviewManager queueList;
  BlockListviewManager blockList;
  ChannelListviewManager channelList;
  DeviceOperations operations{deviceList, {&edit, nullptr, &prompter, &sink, "Telmon", "S"}};
  DevicesPage devicesPage{devices, operations};
  QueuesPage queuesPage{queues, queueList};
  BlocksPage blocksPage{blocks};
  ChannelsPage channelsPage{channels};
};

}  // namespace telmon::test
