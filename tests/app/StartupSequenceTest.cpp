#include "session/StartupSequence.h"
#include "util/ErrorInfo.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <vector>

using namespace telmon;

namespace {

struct Recorder : IStartupProgress, IRaiseMsg {
  QStringList events;
  std::vector<std::pair<std::int32_t, QString>> msgs;
  void SetProgressText(const QString& t) override { events << "text:" + t; }
  void SetProgressValue(int v) override { events << QStringLiteral("value:%1").arg(v); }
  void RaiseMsg(std::int32_t type, const QString& text) override { msgs.emplace_back(type, text); }
};

}  // namespace

TEST(StartupSequence, TextBeforeWorkValueOnlyAfterSuccess) {
  Recorder r;
  StartupSequence seq;
  std::vector<StartupStep> steps = {
      {"one", "Doing one...", 40, "TELM-0006: can't setup SiteID.",
       [&] {
         r.events << "work:one";
         return true;
       }},
      {"two", "Doing two...", 55, "TELM-0007: can't connect (read-only) to database(s).",
       [&] {
         r.events << "work:two";
         return false;
       }},
      {"three", "", 70, "",
       [&] {
         r.events << "work:three";
         return true;
       }},
  };
  EXPECT_FALSE(seq.Run(steps, r, r));
  EXPECT_EQ(r.events, QStringList({"text:Doing one...", "work:one", "value:40", "text:Doing two...",
                                   "work:two"}));
  ASSERT_EQ(r.msgs.size(), 1U);
  EXPECT_EQ(r.msgs[0].first, 4);
  EXPECT_EQ(r.msgs[0].second, "TELM-0007: can't connect (read-only) to database(s).");
}

TEST(StartupSequence, UnexpectedErrorNamesTheStepInQuotes) {
  Recorder r;
  StartupSequence seq;
  std::vector<StartupStep> steps = {
      {"setup BlockListviewManager", "Preparing block manager...", 85, "",
       []() -> bool { throw TelmonError(ErrorNumber::TypeMismatch, "Type mismatch"); }},
  };
  EXPECT_FALSE(seq.Run(steps, r, r));
  ASSERT_EQ(r.msgs.size(), 1U);
  EXPECT_EQ(r.msgs[0].second, "TELM-0009: 13, Type mismatch; Step=\"setup BlockListviewManager\"");
  EXPECT_EQ(seq.CurrentStep(), "setup BlockListviewManager");
}
