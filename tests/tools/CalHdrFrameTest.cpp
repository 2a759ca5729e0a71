// The cal HDR frame as the operator uses it: "Load List" proposes the groups, a span is
// corrected by hand, and "Write" fills a real SQLite site database.

#include "platform/testing/ScriptedPrompter.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "tests/support/Accessibly.h"
#include "tests/tools/ToolsTestSupport.h"
#include "tools/ui/CalHdrFrame.h"
#include "util/Clock.h"
#include "watches/ChannelValueWriter.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace telmon::test {
namespace {

QByteArray ConfigEvent(int id, const char* name, const char* address) {
  return QStringLiteral(R"(<Event eventtype="ChannelConfigUpdate" ID="%1" Name="%2" DeviceID="2" )"
                        R"(Address="%3"/>)")
      .arg(id)
      .arg(QLatin1String(name), QLatin1String(address))
      .toUtf8();
}

class CalHdrFrameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db_.Init();
    const QString c = db_.ConnectionString();
    ASSERT_TRUE(dbil_.SetSiteID(QStringLiteral("PLANT1"), QString(), {c, c, c, c, c}));
    const QByteArray events[] = {
        ConfigEvent(101, "Stack NOx Days 0 Zero Avg", "CalHistory.U1.NOX.Days[0].ZEROAVG"),
        ConfigEvent(102, "Stack NOx Days 0 Span Avg", "CalHistory.U1.NOX.Days[0].SPANAVG"),
        ConfigEvent(103, "Stack NOx Conc", "CEMS.U1.NOX.CONC"),
        ConfigEvent(104, "Stack O2 Days 1 Zero Avg", "CemsInfoHistoryCal.U1.O2.Days[1].ZEROAVG"),
        ConfigEvent(105, "Stack O2 Days 1 Ref", "CemsInfoHistoryCal.U1.O2.Days[1].SPANREFGAS"),
        ConfigEvent(106, "Stack SO2 Days 0 Drift", "CalHistory.U1.SO2.Days[0].ZERODRIFTLIMIT75"),
        ConfigEvent(107, "Stack SO2 Days 1 Drift", "CalHistory.U1.SO2.Days[1].ZERODRIFTLIMIT75"),
    };
    for (const QByteArray& text : events) {
      const xml::XmlDocument doc = xml::ParseXmlFragmentUtf8(text);
      configs_.UpdateConfigInfo(xml::SelectSingleNode(doc, "//Event"));
    }
  }

  ScratchDatabase db_{Backend::Sqlite};
  H5DBIL dbil_;
  Sink sink_;
  ChannelValueWriter writer_{dbil_, sink_};
  EditGate gate_;
  ScriptedPrompter prompter_;
  ManualClock clock_;
  ChannelConfigInfoManager configs_;
  CalHdrFrame frame_{configs_, {gate_, writer_, sink_, prompter_, clock_, "Telmon"}};
};

TEST_F(CalHdrFrameTest, LoadListThenWriteFillsTheChannels) {
  frame_.cmdCalHDRLoadList()->click();
  CalHdrGrid expected;
  expected[0] = {"Stack NOx Days 0", "100"};
  expected[1] = {"Stack O2 Days 1", "21"};
  expected[2] = {"Stack SO2 Days", "1000"};
  EXPECT_EQ(frame_.Grid(), expected);
  // The operator corrects a proposal, here through the accessibility interface as voice control
  // would: the write reads the grid as it stands, however its text was set.
  SetTextAccessibly(frame_.SpanBox(2), QStringLiteral("50"), AccessPath::Replace);

  frame_.cmdCalHDRWrite()->click();
  QStringList records;
  for (const QVariantList& row :
       db_.Rows(QStringLiteral("SELECT commandtext, callercode FROM H5IOCOMMAND ORDER BY id"))) {
    records << row[0].toString() + QLatin1Char(' ') + row[1].toString();
  }
  EXPECT_EQ(records, QStringList({
                         R"(<Command action="WriteToChannel" id="101" value="-0.1" /> TELM-0063)",
                         R"(<Command action="WriteToChannel" id="102" value="90.1" /> TELM-0063)",
                         R"(<Command action="WriteToChannel" id="104" value="-0.042" /> TELM-0063)",
                         R"(<Command action="WriteToChannel" id="105" value="20.9" /> TELM-0063)",
                         R"(<Command action="WriteToChannel" id="106" value="5" /> TELM-0063)",
                         R"(<Command action="WriteToChannel" id="107" value="5" /> TELM-0063)",
                     }));
  EXPECT_EQ(sink_.Texts(), QStringList{"Wrote data to 6 cal HDR channels [TELM-0064]"});
}

TEST_F(CalHdrFrameTest, CaptionsAndToolTips) {
  EXPECT_EQ(frame_.objectName(), "fraCalHDR");
  EXPECT_EQ(frame_.findChild<QLabel*>("lblCalHDRFrameTitle")->text(), "Populate Cal HDR Channels");
  EXPECT_EQ(frame_.cmdCalHDRLoadList()->text(), "Load List");
  EXPECT_EQ(frame_.cmdCalHDRLoadList()->toolTip(),
            "Get list of channel name prefixes and estimated spans");
  EXPECT_EQ(frame_.cmdCalHDRWrite()->text(), "Write");
  EXPECT_EQ(frame_.cmdCalHDRWrite()->toolTip(), "Write cal HDR data");
  int headings = 0;
  for (const QLabel* label : frame_.findChildren<QLabel*>()) {
    headings += label->text() == "Chan Name Prefix" || label->text() == "Span" ? 1 : 0;
  }
  EXPECT_EQ(headings, 4);  // two columns of eight rows, each headed
  EXPECT_EQ(frame_.findChildren<QLineEdit*>().size(), 32);
}

}  // namespace
}  // namespace telmon::test
