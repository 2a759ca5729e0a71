// The value dialogs and the Bulk Writes page as the operator sees them: captions, enabling and
// the boxes' rules reaching the widgets.

#include "ioslink/ICommandSender.h"
#include "platform/H5DBIL.h"
#include "platform/testing/ScriptedPrompter.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "tests/util/QStringPrinter.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/IEditGate.h"
#include "watches/ChannelValueWriter.h"
#include "watches/ui/BulkWritesPage.h"
#include "watches/ui/frmChangeChanValue.h"
#include "watches/ui/frmChangeChanValues.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QtTest/QTest>

namespace telmon::test {
namespace {

class NoLink final : public ICommandSender {
 public:
  SendOutcome SendCommand(const QString& command) override {
    sent.append(command);
    return {true, {}};
  }
  QStringList sent;
};

class Gate final : public IEditGate {
 public:
  bool EditsAllowed() const override { return true; }
  bool AskWhetherUserWantsToEnableEditing() override { return true; }
};

class Sink final : public IRaiseMsg {
 public:
  void RaiseMsg(std::int32_t, const QString& text) override { texts.append(text); }
  QStringList texts;
};

class WatchesUiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db_.Init();
    const QString c = db_.ConnectionString();
    ASSERT_TRUE(dbil_.SetSiteID(QStringLiteral("PLANT1"), QStringLiteral("EN"), {c, c, c, c, c}));
    const xml::XmlDocument doc = xml::ParseXmlFragment(
        nullptr, QStringLiteral(R"(<Event eventtype="ChannelConfigUpdate" ID="5" DeviceID="1"
                   Scaling="0-100" DataSource="ForcedValue" Address="X.MC60" Name="NOx MC60" />
                 <Event eventtype="ChannelConfigUpdate" ID="7" DeviceID="1" Scaling="0-9"
                   DataSource="Device" />)"));
    for (xml::XmlElement e : xml::SelectNodes(doc, "//Event")) {
      configs_.UpdateConfigInfo(e);
    }
  }
  ChangeValueServices Services() {
    return {configs_, writer_, link_, prompter_, QStringLiteral("Telmon")};
  }

  ScratchDatabase db_{Backend::Sqlite};
  H5DBIL dbil_;
  Sink sink_;
  ChannelValueWriter writer_{dbil_, sink_};
  NoLink link_;
  ScriptedPrompter prompter_;
  ChannelConfigInfoManager configs_;
};

TEST_F(WatchesUiTest, OneChannelDialogShowsTheModelsState) {
  frmChangeChanValue dialog(Services());
  EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Change Channel Value"));
  EXPECT_EQ(dialog.txtValueRange()->text(), QStringLiteral("(N/A)"));
  EXPECT_EQ(dialog.cmdChange()->text(), QStringLiteral("C&hange"));
  EXPECT_EQ(
      dialog.optRandomValues(1)->text(),
      QStringLiteral("Automatically change values using a \"triangle\" or \"sawtooth\" wave"));
  dialog.SetChannelID(7);
  EXPECT_FALSE(dialog.optRandomValues(0)->isEnabled());
  EXPECT_FALSE(dialog.txtMin()->isEnabled());
  dialog.SetChannelID(5);
  EXPECT_TRUE(dialog.txtMin()->isEnabled());
  EXPECT_TRUE(dialog.optRandomValues(0)->isChecked());
  QTest::keyClicks(dialog.txtMin(), QStringLiteral("4"));
  EXPECT_EQ(dialog.txtNewValue()->text(), QStringLiteral("4"));
  EXPECT_EQ(dialog.txtPeriod()->text(), QStringLiteral("120"));
  EXPECT_TRUE(dialog.optRandomValues(1)->isChecked());
  QTest::keyClicks(dialog.txtMax(), QStringLiteral("9"));
  dialog.chkNullValue()->setChecked(true);
  EXPECT_FALSE(dialog.txtNewValue()->isEnabled());
  dialog.cmdChange()->click();
  EXPECT_EQ(link_.sent,
            QStringList{QStringLiteral(
                R"(<Command action="ForceChannelValue" id="5" value="" DataSource="TriangleWave" )"
                R"(OscillationMin="4" OscillationMax="9" OscillationPeriod="120" />)")});
  EXPECT_EQ(dialog.result(), QDialog::Accepted);
}

TEST_F(WatchesUiTest, SeveralChannelsDialogAndBulkPageCaptions) {
  frmChangeChanValues dialog(Services());
  EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Change Channel Values"));
  dialog.SetChannelIDList(QStringLiteral("\t5\t7"));
  dialog.txtNewValue()->setText(QStringLiteral("&HFFFF"));
  dialog.cmdChange()->click();
  EXPECT_EQ(db_.Rows(QStringLiteral("SELECT commandtext FROM H5IOCOMMAND")).size(), 2);

  Gate gate;
  BulkWritesPage page({configs_, writer_, gate, sink_, prompter_, QStringLiteral("Telmon")});
  const auto label = [&](const char* name) {
    return page.findChild<QLabel*>(QLatin1String(name))->text();
  };
  EXPECT_EQ(label("lblBulkWriteWarning"), QStringLiteral("WARNING! USE IN RANDOM MODE ONLY!"));
  EXPECT_EQ(label("lblWriteToAllMCChannelsFrameTitle"), QStringLiteral("Write to All MC Channels"));
  EXPECT_EQ(label("lblWriteToAllCemsInfoMCChannels"),
            QStringLiteral("Affects all channels with (HWAddress ending in 'MC60' or 'MC75') AND "
                           "(NOx, O2, CO, NH3, opacity, PM)"));
  EXPECT_EQ(page.Button(QStringLiteral("cmdWriteMC1112ToAllCemsInfoMCChannels"))->text(),
            QStringLiteral("MC 11/12"));
  page.Button(QStringLiteral("cmdWrite00ToAllMCChannels"))->click();
  EXPECT_EQ(page.txtWriteToAllMCChannels()->text(), QStringLiteral("00"));
  EXPECT_EQ(sink_.texts, QStringList{QStringLiteral("Wrote '0' to 1 channels [TELM-0076]")});
}

}  // namespace
}  // namespace telmon::test
