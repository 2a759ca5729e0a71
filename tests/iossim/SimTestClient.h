#pragma once

// Test support: a monitor stand-in on a real loopback socket that frames and parses the
// events the simulator sends, and a demo site in a temporary folder with a simulator on it.

#include "iossim/CommandFramer.h"
#include "iossim/DemoSite.h"
#include "iossim/Simulator.h"
#include "util/Clock.h"
#include "util/UtilityXMLDOMFunctions.h"

#include <gtest/gtest.h>
#include <QHash>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest/QTest>

#include <functional>
#include <memory>
#include <ostream>
#include <vector>

inline void PrintTo(const QString& s, std::ostream* os) { *os << '"' << s.toStdString() << '"'; }

namespace telmon::iossim::testing {

struct SimEvent {
  QString type;
  QHash<QString, QString> attrs;
  QByteArray xml;
  QString Attr(const char* name) const { return attrs.value(QLatin1String(name)); }
};

// Parses one complete event element; an element that is not an event gives type "".
inline SimEvent ParseEvent(const QByteArray& element) {
  SimEvent e;
  e.xml = element;
  const xml::XmlDocument doc = xml::ParseXmlFragment(nullptr, QString::fromLatin1(element));
  const xml::XmlElement node = doc ? xml::SelectSingleNode(doc, "Event") : nullptr;
  if (node == nullptr) {
    return e;
  }
  for (const xmlAttr* a = node->properties; a != nullptr; a = a->next) {
    const char* name = reinterpret_cast<const char*>(a->name);
    e.attrs.insert(QString::fromUtf8(name), xml::GetAttributeText(node, name));
  }
  e.type = e.attrs.value(QStringLiteral("eventtype"));
  return e;
}

class SimTestClient {
 public:
  SimTestClient() {
    QObject::connect(&socket_, &QTcpSocket::readyRead, &socket_, [this] {
      const QByteArray bytes = socket_.readAll();
      ++reads_;
      received_ += bytes;
      for (const iossim::FramedItem& item : framer_.Feed(bytes)) {
        if (item.kind == iossim::FramedItem::Kind::Element) {
          events_.push_back(ParseEvent(item.text));
        } else {
          junk_.append(item.text);
        }
      }
    });
  }

  bool Connect(quint16 port) {
    socket_.connectToHost(QHostAddress::LocalHost, port);
    return socket_.waitForConnected(5000);
  }
  void Send(const QByteArray& bytes) {
    socket_.write(bytes);
    socket_.flush();
  }
  bool WaitFor(const std::function<bool()>& done, int timeoutMs = 5000) {
    return QTest::qWaitFor(done, timeoutMs);
  }
  std::vector<SimEvent> OfType(const QString& type) const {
    std::vector<SimEvent> out;
    for (const SimEvent& e : events_) {
      if (e.type == type) out.push_back(e);
    }
    return out;
  }
  int Count(const QString& type) const { return static_cast<int>(OfType(type).size()); }
  // The first event of the type whose attribute has the value, after `from`.
  const SimEvent* Find(const QString& type, const char* attr, const QString& value,
                       std::size_t from = 0) const {
    for (std::size_t i = from; i < events_.size(); ++i) {
      if (events_[i].type == type && events_[i].Attr(attr) == value) return &events_[i];
    }
    return nullptr;
  }
  const SimEvent* FindLast(const QString& type, const char* attr, const QString& value) const {
    for (auto it = events_.rbegin(); it != events_.rend(); ++it) {
      if (it->type == type && it->Attr(attr) == value) return &*it;
    }
    return nullptr;
  }
  // Messages received after event number `from`, as "type:text".
  QStringList Messages(std::size_t from = 0) const {
    QStringList out;
    for (std::size_t i = from; i < events_.size(); ++i) {
      if (events_[i].type == QLatin1String("Message")) {
        out << events_[i].Attr("MsgType") + QLatin1Char(':') + events_[i].Attr("Desc");
      }
    }
    return out;
  }
  std::size_t Size() const { return events_.size(); }
  const QByteArray& Received() const { return received_; }
  const QByteArray& Junk() const { return junk_; }
  int Reads() const { return reads_; }
  QTcpSocket& Socket() { return socket_; }

 private:
  QTcpSocket socket_;
  iossim::CommandFramer framer_;
  std::vector<SimEvent> events_;
  QByteArray received_;
  QByteArray junk_;
  int reads_ = 0;
};

// A fresh demo site per test, and simulators started on it on free ports.
class DemoSiteTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.isValid());
    QString error;
    ASSERT_TRUE(WriteDemoSite(dir_.path(), &error)) << error.toStdString();
  }

  SimOptions Options(int dahs = 1) const {
    SimOptions o;
    o.settingsSource = dir_.path();
    o.dahsId = dahs;
    o.port = 0;
    o.seed = 42;
    return o;
  }

  Simulator* Start(const SimOptions& options) {
    sims_.push_back(std::make_unique<Simulator>(options, clock_));
    QString error;
    EXPECT_TRUE(sims_.back()->Start(&error)) << error.toStdString();
    return sims_.back().get();
  }

  QString Path(const QString& name) const { return dir_.filePath(name); }

  QTemporaryDir dir_;
  SystemClock clock_;
  std::vector<std::unique_ptr<Simulator>> sims_;
};

}  // namespace telmon::iossim::testing
