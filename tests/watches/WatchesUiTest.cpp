// The value dialogs and the Bulk Writes page as the operator sees them: captions, enabling and
// the boxes' rules reaching the widgets.

#include "ioslink/ICommandSender.h"
#include "platform/H5DBIL.h"
#include "platform/testing/ScriptedPrompter.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "tests/support/Accessibly.h"
#include "tests/util/QStringPrinter.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/IEditGate.h"
#include "watches/ChannelValueWriter.h"
#include "watches/ui/BulkWritesPage.h"
#include "watches/ui/frmChangeChanValue.h"
#include "watches/ui/frmChangeChanValues.h"

#include <QCheckBox>
#include <QGuiApplication>
#include <QImage>
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
  // The range is on a row of its own, under the new value.
  dialog.show();
  EXPECT_GE(dialog.txtValueRange()->y(),
            dialog.txtNewValue()->y() + dialog.txtNewValue()->height());
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

  // Cancel, pressed by its button, sends nothing.
  frmChangeChanValue cancelled(Services());
  cancelled.SetChannelID(5);
  cancelled.show();
  auto* cancel = cancelled.findChild<QPushButton*>(QStringLiteral("cmdCancel"));
  ASSERT_NE(cancel, nullptr);
  cancel->click();
  EXPECT_EQ(cancelled.result(), QDialog::Rejected);
  EXPECT_FALSE(cancelled.isVisible());
  EXPECT_EQ(link_.sent.size(), 1);
}

TEST_F(WatchesUiTest, SeveralChannelsDialogAndBulkPageCaptions) {
  frmChangeChanValues dialog(Services());
  EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Change Channel Values"));
  dialog.SetChannelIDList(QStringLiteral("\t5\t7"));
  // Null takes the place of a value: the box is shut while it is ticked.
  dialog.chkNullValue()->setChecked(true);
  EXPECT_FALSE(dialog.txtNewValue()->isEnabled());
  dialog.chkNullValue()->setChecked(false);
  EXPECT_TRUE(dialog.txtNewValue()->isEnabled());
  dialog.txtNewValue()->setText(QStringLiteral("&HFFFF"));
  dialog.cmdChange()->click();
  EXPECT_EQ(db_.Rows(QStringLiteral("SELECT commandtext FROM H5IOCOMMAND")).size(), 2);

  Gate gate;
  BulkWritesPage page({configs_, writer_, gate, sink_, prompter_, QStringLiteral("Telmon")});
  const auto label = [&](const char* name) {
    return page.findChild<QLabel*>(QLatin1String(name))->text();
  };
  EXPECT_EQ(label("lblBulkWriteWarning"), QStringLiteral("WARNING! USE IN RANDOM MODE ONLY!"));
  // The warning stands out: bold, in red.
  auto* warning = page.findChild<QLabel*>(QStringLiteral("lblBulkWriteWarning"));
  EXPECT_TRUE(warning->fontInfo().bold());
  const QImage drawn = warning->grab().toImage();
  int red = 0;
  for (int y = 0; y < drawn.height(); ++y) {
    for (int x = 0; x < drawn.width(); ++x) {
      const QColor pixel = drawn.pixelColor(x, y);
      red += pixel.red() > 200 && pixel.green() < 80 && pixel.blue() < 80 ? 1 : 0;
    }
  }
  EXPECT_GT(red, 50);
  // On a wide page each row's box and buttons stay together at the left.
  page.resize(1400, 500);
  page.show();
  for (const char* last : {"cmdWrite13ToAllMCChannels", "cmdWriteMC1112ToAllCemsInfoMCChannels"}) {
    const QPushButton* button = page.Button(QLatin1String(last));
    EXPECT_LT(button->mapTo(&page, QPoint(button->width(), 0)).x(), 1000) << last;
  }
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

// Text set through the accessibility interface, as voice control and desktop automation set
// it, reaches the dialogs' rules and the bulk page exactly as typing does: what the box shows is
// what is written and sent.
TEST_F(WatchesUiTest, BoxesSetThroughAccessibilityAreWhatIsWrittenAndSent) {
  const auto records = [this] {
    QStringList out;
    for (const auto& row :
         db_.Rows(QStringLiteral("SELECT callercode, commandtext FROM H5IOCOMMAND ORDER BY id"))) {
      out.append(row[0].toString() + QLatin1Char('|') + row[1].toString());
    }
    return out;
  };
  for (const AccessPath path : {AccessPath::Value, AccessPath::Replace, AccessPath::Insert}) {
    SCOPED_TRACE(AccessPathName(path));
    db_.Exec(QStringLiteral("DELETE FROM H5IOCOMMAND"));
    link_.sent.clear();
    sink_.texts.clear();

    frmChangeChanValue one(Services());
    one.SetChannelID(5);
    one.txtNewValue()->setText(QStringLiteral("old"));
    SetTextAccessibly(one.txtNewValue(), QStringLiteral("43.5"), path);
    one.cmdChange()->click();

    frmChangeChanValue wave(Services());
    wave.SetChannelID(5);
    SetTextAccessibly(wave.txtMin(), QStringLiteral("2"), path);
    EXPECT_EQ(wave.txtNewValue()->text(), QStringLiteral("2"));
    EXPECT_EQ(wave.txtPeriod()->text(), QStringLiteral("120"));
    EXPECT_TRUE(wave.optRandomValues(1)->isChecked());
    SetTextAccessibly(wave.txtMax(), QStringLiteral("8"), path);
    SetTextAccessibly(wave.txtPeriod(), QStringLiteral("45"), path);
    wave.cmdChange()->click();

    frmChangeChanValues many(Services());
    many.SetChannelIDList(QStringLiteral("\t5\t7"));
    SetTextAccessibly(many.txtNewValue(), QStringLiteral("9"), path);
    many.cmdChange()->click();

    EXPECT_EQ(records(),
              QStringList({R"(TELM-0038|<Command action="WriteToChannel" id="5" value="43.5" />)",
                           R"(TELM-0038|<Command action="WriteToChannel" id="5" value="2" />)",
                           R"(TELM-0049|<Command action="WriteToChannel" id="5" value="9" />)",
                           R"(TELM-0049|<Command action="WriteToChannel" id="7" value="9" />)"}));
    EXPECT_EQ(link_.sent,
              QStringList({R"(<Command action="ForceChannelValue" id="5" value="43.5" )"
                           R"(DataSource="ForcedValue" />)",
                           R"(<Command action="ForceChannelValue" id="5" value="2" )"
                           R"(DataSource="TriangleWave" OscillationMin="2" OscillationMax="8" )"
                           R"(OscillationPeriod="45" />)"}));

    Gate gate;
    BulkWritesPage page({configs_, writer_, gate, sink_, prompter_, QStringLiteral("Telmon")});
    SetTextAccessibly(page.txtWriteToAllMCChannels(), QStringLiteral("13"), path);
    page.Button(QStringLiteral("cmdWriteToAllMCChannels"))->click();
    EXPECT_EQ(sink_.texts, QStringList{QStringLiteral("Wrote '13' to 1 channels [TELM-0076]")});
  }
  EXPECT_TRUE(prompter_.Texts().isEmpty()) << prompter_.Texts().join('\n').toStdString();
}

// Notes whether the hourglass is up at each question, password prompt and record write.
class CursorNotes {
 public:
  void Note(const char* what) {
    notes.append(QLatin1String(what) + (QGuiApplication::overrideCursor() != nullptr
                                            ? QStringLiteral(" (hourglass)")
                                            : QString()));
  }
  QStringList notes;
};

class NotingPrompter final : public Prompter {
 public:
  NotingPrompter(ScriptedPrompter& inner, CursorNotes& notes) : inner_(inner), notes_(notes) {}
  PromptAnswer Ask(const PromptQuestion& question) override {
    notes_.Note("question");
    return inner_.Ask(question);
  }
  std::optional<QString> InputText(const QString& p, const QString& t, const QString& i) override {
    return inner_.InputText(p, t, i);
  }
  std::optional<QString> SaveFileName(const FileDialogRequest& r) override {
    return inner_.SaveFileName(r);
  }
  std::optional<QString> OpenFileName(const FileDialogRequest& r) override {
    return inner_.OpenFileName(r);
  }
  std::optional<Credentials> AskCredentials(const QString& p, const QString& t) override {
    notes_.Note("password");
    return inner_.AskCredentials(p, t);
  }
  void Beep() override { inner_.Beep(); }

 private:
  ScriptedPrompter& inner_;
  CursorNotes& notes_;
};

// Edit mode as the main window asks for it: a question, then the password prompt.
class AskingGate final : public IEditGate {
 public:
  explicit AskingGate(Prompter& prompter) : prompter_(prompter) {}
  bool EditsAllowed() const override { return allowed_; }
  bool AskWhetherUserWantsToEnableEditing() override {
    if (prompter_.Ask({QStringLiteral("Enable edits?"), QStringLiteral("Telmon"),
                       PromptIcon::Question, PromptButtons::YesNo, std::nullopt}) ==
        PromptAnswer::Yes) {
      allowed_ = prompter_.AskCredentials(QStringLiteral("Password"), QStringLiteral("Telmon"))
                     .has_value();
    }
    return allowed_;
  }

 private:
  Prompter& prompter_;
  bool allowed_ = false;
};

// The real writer, noting the pointer as each group of records is written.
class NotingWriter final : public IChannelValueWriter {
 public:
  NotingWriter(IChannelValueWriter& inner, CursorNotes& notes) : inner_(inner), notes_(notes) {}
  bool WriteChannelValueRecord(const QString& code, std::int32_t id, const Value& v) override {
    notes_.Note("record");
    return inner_.WriteChannelValueRecord(code, id, v);
  }
  std::vector<bool> WriteChannelValueRecords(const QString& code,
                                             const std::vector<ChannelValue>& items,
                                             const QString& operation) override {
    notes_.Note("records");
    return inner_.WriteChannelValueRecords(code, items, operation);
  }

 private:
  IChannelValueWriter& inner_;
  CursorNotes& notes_;
};

// The hourglass is up while the records are written, and only then: never over the value
// question, the edit-mode question or the password prompt.
TEST_F(WatchesUiTest, TheBulkPagesHourglassCoversOnlyTheWrite) {
  CursorNotes notes;
  NotingPrompter prompter(prompter_, notes);
  AskingGate gate(prompter);
  NotingWriter writer(writer_, notes);
  BulkWritesPage page({configs_, writer, gate, sink_, prompter, QStringLiteral("Telmon")});
  page.txtWriteToAllMCChannels()->setText(QStringLiteral("x"));
  page.txtWriteToAllCemsInfoMCChannels()->setText(QStringLiteral("14"));
  page.Button(QStringLiteral("cmdWriteToAllCemsInfoMCChannels"))->click();  // TELM-0074
  prompter_.QueueAnswer(PromptAnswer::Yes);
  prompter_.QueueCredentials(Credentials{QStringLiteral("super"), QStringLiteral("pw")});
  page.Button(QStringLiteral("cmdWrite13ToAllMCChannels"))->click();
  EXPECT_EQ(notes.notes, QStringList({"question", "question", "password", "records (hourglass)"}));
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
  EXPECT_EQ(prompter_.Texts().first(), "Value to write must be numeric. [TELM-0074]");
  EXPECT_EQ(sink_.texts, QStringList{QStringLiteral("Wrote '13' to 1 channels [TELM-0076]")});
}

}  // namespace
}  // namespace telmon::test
