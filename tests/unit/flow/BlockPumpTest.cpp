#include "flow/BlockPump.h"

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <vector>

using namespace wm;

namespace {

// A scripted source: each entry is one block (bytes, position, end flag); an empty script
// entry with fail set makes NextBlock fail.
struct Scripted {
    uint32_t length = 0;
    uint64_t msPosition = 0;
    bool end = false;
    bool fail = false;
    const char16_t* input = nullptr;
};

class ScriptSource : public BlockSource {
  public:
    explicit ScriptSource(std::deque<Scripted> script) : script_(std::move(script)) {}
    bool NextBlock(AudioBlockInfo& block) override {
        ++pulls;
        if (onPull)
            onPull(pulls);
        if (script_.empty())
            return false;
        Scripted s = script_.front();
        script_.pop_front();
        block.format.blockAlign = 4;
        block.length = s.length;
        block.data = s.length ? bytes_ : nullptr;
        block.msPosition = s.msPosition;
        block.endOfStream = s.end;
        block.actionText = s.input;
        return !s.fail;
    }
    int pulls = 0;
    std::function<void(int)> onPull;

  private:
    std::deque<Scripted> script_;
    uint8_t bytes_[4096] = {};
};

class CountingStage : public BlockStage {
  public:
    bool Pass(AudioBlockInfo& block) override {
        seen.push_back(block.length);
        const WmChar* text = block.actionText; // packed record: no references into it
        EXPECT_EQ(text, nullptr);
        block.actionText = outputText;
        return seen.size() != failAt;
    }
    std::vector<uint32_t> seen;
    size_t failAt = 0;
    const char16_t* outputText = nullptr;
};

class RecordingHost : public FlowHost {
  public:
    bool QuitRequested() override { return quit; }
    void Heartbeat() override { ++heartbeats; }
    void Idle(uint32_t ms) override { idles.push_back(ms); }
    void ProgressMarks(uint32_t count) override { marks += count; }
    void ParentLine(ParentKeyword keyword, StringView text) override {
        lines.push_back(Narrow(String(KeywordText(keyword)) + String(text)));
    }
    void StoreBytesEncoded(uint64_t total) override { stored.push_back(total); }
    // Each call is one block later: stepMs apart (by default every block is a contact).
    uint64_t NowMs() override { return now += stepMs; }
    void Information(StringView text) override { infos.push_back(Narrow(text)); }
    void Error(StringView text) override { errors.push_back(Narrow(text)); }
    bool quit = false;
    int heartbeats = 0;
    uint32_t marks = 0;
    uint64_t now = 0, stepMs = 100;
    std::vector<uint64_t> stored;
    std::vector<uint32_t> idles;
    std::vector<std::string> lines, infos, errors;
};

struct Harness {
    RecordingHost host;
    ProgressBar bar{host};
    CountingStage stage;
    RunStatus status;
    uint64_t pumped = 0;
    void Pump(ScriptSource& source, PumpSettings settings) {
        BlockStage* stages[] = {&stage};
        BlockPump pump(source, stages, host, status, settings);
        pump.Run();
        pumped = pump.BytesEncoded();
    }
};

} // namespace

TEST(BlockPump, PercentFromTheBlockStartAndMarksRoundDown) {
    // 1000 ms source; blocks start at 0, 333, 666 and 999 ms, then an empty end block.
    ScriptSource source({{400, 0}, {400, 333}, {400, 666}, {400, 999}, {0, 1000, true}});
    Harness run;
    run.Pump(source, {1000, false, &run.bar});
    // 99 % x 60 / 100 = 59 marks (not 60): the last mark comes with the end block at 100 %.
    EXPECT_EQ(run.host.marks, 60u);
    EXPECT_EQ(run.stage.seen, (std::vector<uint32_t>{400, 400, 400, 400, 0}));
    EXPECT_EQ(run.pumped, 1600u);
    EXPECT_EQ(run.host.stored.back(), 1600u);
    EXPECT_FALSE(run.status.Failed());

    ScriptSource partial({{400, 0}, {400, 666, true}});
    Harness second;
    second.Pump(partial, {1000, false, &second.bar});
    EXPECT_EQ(second.host.marks, 39u); // 66 % -> 39.6 marks, rounded down
    second.bar.Complete();
    EXPECT_EQ(second.host.marks, 60u);
}

TEST(BlockPump, PassesShareTheBarAndAPassBeginsWhereItsShareDoes) {
    Harness run;
    // Three passes of 20 marks: the render's decoding, one effect, the encoding.
    run.bar.BeginPass(0, 3);
    ScriptSource decoding({{400, 0}, {400, 500, true}});
    run.Pump(decoding, {1000, false, &run.bar});
    EXPECT_EQ(run.host.marks, 10u); // the last block starts half way
    run.bar.BeginPass(1, 3);
    EXPECT_EQ(run.host.marks, 20u);
    run.bar.BeginPass(2, 3);
    ScriptSource encoding({{400, 0}, {400, 750, true}});
    run.Pump(encoding, {1000, false, &run.bar});
    EXPECT_EQ(run.host.marks, 55u);
    // Going back never takes marks away.
    run.bar.BeginPass(0, 3);
    run.bar.Percent(100);
    EXPECT_EQ(run.host.marks, 55u);
}

TEST(BlockPump, ParentLinesOnlyWhenTheValueChanges) {
    ScriptSource source({{4, 0, false, false, u"a.wav"},
                         {4, 500, false, false, u"a.wav"},
                         {4, 500, false, false, u"b.wav"},
                         {4, 2000, true}});
    Harness run;
    run.stage.outputText = u"out.wav";
    run.Pump(source, {1000, true, nullptr});
    EXPECT_EQ(run.host.lines,
              (std::vector<std::string>{"ActionInput: a.wav", "ActionOutput: out.wav",
                                        "PCDone: 50 %", "ActionInput: b.wav", "PCDone: 100 %"}));
    EXPECT_EQ(run.host.marks, 0u);
}

TEST(BlockPump, QuitStopsBeforeTheNextBlock) {
    ScriptSource source({{4, 0}, {4, 1}, {4, 2}, {4, 3}, {4, 4, true}});
    Harness run;
    source.onPull = [&](int pulls) { run.host.quit = pulls == 2; };
    run.Pump(source, {10, false, nullptr});
    EXPECT_EQ(source.pulls, 2);
    EXPECT_EQ(run.stage.seen.size(), 2u);
    EXPECT_FALSE(run.status.Failed()); // the finish fails the run when it sees the event
}

TEST(BlockPump, ParentContactsAtMostEvery50MsAndTheLastTotalAlways) {
    std::deque<Scripted> script;
    for (uint64_t i = 0; i < 12; ++i)
        script.push_back({4, i, i == 11});
    ScriptSource source(script);
    Harness run;
    run.host.stepMs = 20; // blocks at 20, 40, ... 240 ms: contacts at 20, 80, 140 and 200
    run.Pump(source, {12, true, nullptr});
    EXPECT_EQ(run.host.heartbeats, 4);
    EXPECT_EQ(run.host.stored, (std::vector<uint64_t>{4, 16, 28, 40, 48}));
    EXPECT_EQ(run.host.lines, (std::vector<std::string>{"PCDone: 25 %", "PCDone: 50 %",
                                                        "PCDone: 75 %", "PCDone: 91 %"}));

    // A stop asked at 100 ms is seen at the next contact, 140 ms, before the seventh block.
    ScriptSource stopped(script);
    Harness quitting;
    quitting.host.stepMs = 20;
    stopped.onPull = [&](int pulls) { quitting.host.quit = quitting.host.quit || pulls == 5; };
    quitting.Pump(stopped, {12, true, nullptr});
    EXPECT_EQ(quitting.stage.seen.size(), 6u);
}

TEST(BlockPump, EmptyBlocksBackOffAndStillSeeAFailedRun) {
    ScriptSource source({{0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {4, 0}, {0, 0}, {4, 1, true}});
    Harness run;
    run.Pump(source, {10, false, nullptr});
    EXPECT_EQ(run.host.idles, (std::vector<uint32_t>{0, 25, 25, 50, 50, 0}));
    EXPECT_EQ(run.host.heartbeats, 8);

    // An error line logged while the source stalls ends the loop at the next empty block.
    ScriptSource stalled({{0, 0}, {0, 0}, {0, 0}, {4, 0, true}});
    Harness failing;
    stalled.onPull = [&](int pulls) {
        if (pulls == 2)
            failing.status.Fail("error line");
    };
    failing.Pump(stalled, {10, false, nullptr});
    EXPECT_EQ(stalled.pulls, 2);
    EXPECT_TRUE(failing.stage.seen.empty());
}

TEST(BlockPump, TornFramesAndFailures) {
    // At the end the whole torn block is dropped and the run succeeds.
    ScriptSource atEnd({{8, 0}, {1001, 5, true}});
    Harness end;
    end.Pump(atEnd, {10, false, nullptr});
    EXPECT_EQ(end.stage.seen, std::vector<uint32_t>{8});
    EXPECT_EQ(end.host.infos.size(), 1u);
    EXPECT_FALSE(end.status.Failed());

    ScriptSource midStream({{6, 0}, {8, 1, true}});
    Harness mid;
    mid.Pump(midStream, {10, false, nullptr});
    EXPECT_EQ(mid.host.errors, std::vector<std::string>{
                                   "Error: Audio data contains incomplete samples mid-stream."});
    EXPECT_TRUE(mid.status.Failed());

    // Rendering keeps torn blocks whole, wherever they come; an effect's pass over the rendered
    // file counts its bytes without publishing them.
    for (bool publish : {true, false}) {
        ScriptSource torn({{6, 0}, {1001, 1}, {8, 2, true}});
        Harness render;
        render.Pump(torn, {.msLength = 10, .keepTornBlocks = true, .publishBytes = publish});
        EXPECT_EQ(render.stage.seen, (std::vector<uint32_t>{6, 1001, 8}));
        EXPECT_TRUE(render.host.infos.empty() && render.host.errors.empty());
        EXPECT_FALSE(render.status.Failed());
        EXPECT_EQ(render.pumped, 1015u);
        EXPECT_EQ(render.host.stored.empty() ? 0u : render.host.stored.back(),
                  publish ? 1015u : 0u);
    }

    ScriptSource refused({{4, 0}, {4, 1}, {4, 2, true}});
    Harness stage;
    stage.stage.failAt = 2;
    stage.Pump(refused, {10, false, nullptr});
    EXPECT_TRUE(stage.status.Failed());
    EXPECT_EQ(stage.pumped, 4u);

    ScriptSource broken({{4, 0}, {0, 0, false, true}});
    Harness source;
    source.Pump(broken, {10, false, nullptr});
    EXPECT_TRUE(source.status.Failed());
}
