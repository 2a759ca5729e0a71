// The add-channel dialog's lists and the typed-range path, each against a baseline measured
// in the same run:
// - filling both channel lists with 32,767 records, against building the same entry texts;
// - the "Show all channels" toggle on 30,000 channels in 2,000 blocks (every tenth block HDR,
//   every tenth disabled), against building the 30,000 entry texts;
// - 5,000 watches added from typed ranges and the next channel tick, against the bare
//   realtime read of the same 5,000 IOIDs.
// After the run, each case's time is printed as a ratio to its baseline.

#include "bench/support/BenchProgram.h"
#include "bench/support/StandIns.h"
#include "bench/support/WatchedSite.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "views/BlockListviewManager.h"
#include "views/ChannelConfigInfoManager.h"
#include "watches/AddChannelWatchLogic.h"
#include "watches/ui/frmAddChannelWatch.h"

#include <QApplication>
#include <QCheckBox>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

namespace telmon {
namespace {

using bench::AnsweringPrompter;

// A configuration of `channels` channels spread evenly over `blocks` blocks, with the Blocks
// page knowing every tenth block as HDR and every tenth (offset by five) as disabled.
struct Site {
  bench::QuietSink sink;
  bench::NullSender sender;
  KeyedListModel blocksModel;
  BlockListviewManager blocks;
  ChannelConfigInfoManager configs;

  Site(int channels, int blockCount) {
    blocks.Setup(sink, sender, blocksModel);
    QString xml = QStringLiteral("<Events>");
    for (int b = 1; b <= blockCount; ++b) {
      xml += QStringLiteral(
                 "<Event eventtype=\"BlockUpdate\" BlockID=\"%1\" BlockName=\"B%1\" "
                 "IsHDRBlock=\"%2\" Disabled=\"%3\"/>")
                 .arg(b)
                 .arg(b % 10 == 0 ? "True" : "False")
                 .arg(b % 10 == 5 ? "True" : "False");
    }
    const int perBlock = std::max(1, channels / std::max(1, blockCount));
    for (int c = 1; c <= channels; ++c) {
      xml += QStringLiteral(
                 "<Event eventtype=\"ChannelConfigUpdate\" ID=\"%1\" Name=\" Stack "
                 "%1 NOx \" DeviceID=\"1\" BlockID=\"%2\"/>")
                 .arg(c)
                 .arg(blockCount > 0 ? (c - 1) / perBlock + 1 : 0);
    }
    xml += QStringLiteral("</Events>");
    xml::XmlDocument doc = xml::ParseXmlFragment(nullptr, xml);
    for (const xml::XmlElement& e : xml::SelectNodes(doc, "//Event")) {
      if (xml::GetAttributeText(e, "eventtype") == QLatin1String("BlockUpdate")) {
        blocks.UpdateOneItemInLsv(e);
      } else {
        configs.UpdateConfigInfo(e);
      }
    }
  }
};

// The entry texts alone, as the lists show them: the work every fill has to do.
void BuildEntryTexts(const ChannelConfigInfoManager& configs, benchmark::State& state) {
  std::vector<QString> texts;
  texts.reserve(configs.Count());
  for (const auto& record : configs.NewEnum()) {
    QString id = record->Key;
    id.remove(QLatin1Char('C'));
    texts.push_back(id + QStringLiteral(": ") + TrimBlanks(record->Name));
  }
  benchmark::DoNotOptimize(texts.data());
  state.counters["entries"] = static_cast<double>(texts.size());
}

void BM_EntryTexts32767(benchmark::State& state) {
  Site site(32767, 0);
  for (auto _ : state) {
    BuildEntryTexts(site.configs, state);
  }
}

void BM_FillChannelLists32767(benchmark::State& state) {
  Site site(32767, 0);
  AnsweringPrompter prompter(PromptAnswer::Yes);
  frmAddChannelWatch dialog({&site.configs, &site.blocks, &site.blocksModel, &prompter, "T"});
  dialog.chkShowAllChannels()->setChecked(true);
  for (auto _ : state) {
    dialog.FillChannelLists();
  }
}

void BM_EntryTexts30000(benchmark::State& state) {
  Site site(30000, 2000);
  for (auto _ : state) {
    BuildEntryTexts(site.configs, state);
  }
}

void BM_ShowAllToggle30000In2000Blocks(benchmark::State& state) {
  Site site(30000, 2000);
  AnsweringPrompter prompter(PromptAnswer::Yes);
  frmAddChannelWatch dialog({&site.configs, &site.blocks, &site.blocksModel, &prompter, "T"});
  for (auto _ : state) {
    dialog.chkShowAllChannels()->toggle();
  }
}

constexpr int kWatched = 5000;

// Ten typed ranges, half of them descending, naming channels 1 to 5,000.
const QString kTypedRanges = QStringLiteral(
    "1-500, 1000-501, 1001-1500, 2000-1501, 2001-2500, 3000-2501, 3001-3500, 4000-3501, "
    "4001-4500, 5000-4501");

void BM_RealtimeRead5000(benchmark::State& state) {
  bench::WatchedSite w(kWatched);
  AnsweringPrompter prompter(PromptAnswer::Yes);
  w.channels.AddLsvRowsForChannelIDs(*TypedIdsToIds(kTypedRanges, prompter, "T"));
  const QString list = w.channels.GetListOfIOIDsInLsv();
  for (auto _ : state) {
    auto values = w.dbil.ReadCurrentValues(w.site.connection, QDateTime(), list);
    if (!values || values->size() != kWatched) {
      state.SkipWithError("read failed");
    }
  }
}

void BM_TypedRanges5000AndTick(benchmark::State& state) {
  bench::WatchedSite w(kWatched);
  AnsweringPrompter prompter(PromptAnswer::Yes);
  for (auto _ : state) {
    const std::optional<IdList> ids = TypedIdsToIds(kTypedRanges, prompter, "T");
    w.channels.AddLsvRowsForChannelIDs(*ids);
    w.tick.Run();
    state.PauseTiming();
    if (w.model.RowCount() != kWatched) {
      state.SkipWithError("rows missing");
    }
    w.model.ClearRows();
    state.ResumeTiming();
  }
}

BENCHMARK(BM_EntryTexts32767)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FillChannelLists32767)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EntryTexts30000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ShowAllToggle30000In2000Blocks)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RealtimeRead5000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TypedRanges5000AndTick)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace telmon

int main(int argc, char** argv) {
  telmon::bench::BenchProgram<QApplication> program(argc, argv);
  const telmon::bench::RunRecorder& recorder = program.Run();
  recorder.PrintRatio("BM_FillChannelLists32767", "BM_EntryTexts32767");
  recorder.PrintRatio("BM_ShowAllToggle30000In2000Blocks", "BM_EntryTexts30000");
  recorder.PrintRatio("BM_TypedRanges5000AndTick", "BM_RealtimeRead5000");
  return 0;
}
