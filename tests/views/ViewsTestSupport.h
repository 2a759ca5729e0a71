#pragma once

// Real peers for the views tests: a message sink that keeps what it is told, a loopback TCP
// pair whose far end records the bytes the program sends, and events parsed from XML text the
// way the connection parses them.

#include "ioslink/ICommandSender.h"
#include "util/IRaiseMsg.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "views/KeyedListModel.h"

#include <QHostAddress>
#include <QStringList>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

namespace telmon::test {

class CollectingSink final : public IRaiseMsg {
 public:
  void RaiseMsg(std::int32_t msgType, const QString& text) override {
    messages.emplace_back(msgType, text);
  }
  QStringList Texts() const {
    QStringList texts;
    for (const auto& [type, text] : messages) {
      texts.push_back(text);
    }
    return texts;
  }
  std::vector<std::pair<std::int32_t, QString>> messages;
};

// A connected socket pair on the loopback interface. Commands go out on the client end as
// Latin-1, exactly as the connection writes them; the server end is the IOS's side.
class LoopbackPeer final : public ICommandSender {
 public:
  LoopbackPeer() {
    EXPECT_TRUE(server_.listen(QHostAddress::LocalHost, 0));
    client_.connectToHost(QHostAddress::LocalHost, server_.serverPort());
    EXPECT_TRUE(client_.waitForConnected(5000));
    EXPECT_TRUE(server_.waitForNewConnection(5000));
    far_.reset(server_.nextPendingConnection());
    EXPECT_NE(far_, nullptr);
  }

  SendOutcome SendCommand(const QString& command) override {
    client_.write(command.toLatin1());
    client_.flush();
    return {true, {}};
  }

  // Everything that arrived at the far end so far.
  QByteArray Received() {
    QByteArray data = far_->readAll();
    while (far_->waitForReadyRead(150)) {
      data += far_->readAll();
    }
    return data;
  }

 private:
  QTcpServer server_;
  QTcpSocket client_;
  std::unique_ptr<QTcpSocket> far_;
};

// Events of an XML fragment, valid as long as the object lives.
class ParsedEvents {
 public:
  explicit ParsedEvents(const QString& fragment) : doc_(xml::ParseXmlFragment(nullptr, fragment)) {
    EXPECT_TRUE(doc_) << fragment.toStdString();
    if (doc_) {
      events_ = xml::SelectNodes(doc_, "//Event");
    }
  }
  xml::XmlElement operator[](std::size_t i) const { return events_.at(i); }
  const std::vector<xml::XmlElement>& All() const { return events_; }

 private:
  xml::XmlDocument doc_;
  std::vector<xml::XmlElement> events_;
};

}  // namespace telmon::test
