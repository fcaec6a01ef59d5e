// The media pause state machine in virtual time: what quick dim's pause and resume send to the adapter, in
// which order, and what they log, including pauses overtaken by the end of quick dim.
#include <gtest/gtest.h>

#include "ServicesTestSupport.h"
#include "platform/fake/FakeMediaAdapter.h"
#include "platform/fake/FakeScheduler.h"
#include "platform/fake/FakeSerialQueue.h"
#include "services/MediaPlaybackController.h"

using namespace tamsinvale;
using tamsinvale::test::CategoryLog;

namespace {

// Each adapter command takes 0.1 s of virtual time, one after another.
struct Media {
    FakeScheduler scheduler;
    FakeMediaAdapter adapter;
    FakeSerialQueue queue{scheduler, 0.1};
    CategoryLog log{"tamsinvale.media"};
    std::unique_ptr<MediaPlaybackController> controller = std::make_unique<MediaPlaybackController>(adapter, queue);

    void settle() { scheduler.advance(10); }
};

const QString paused = QStringLiteral("info: paused Now Playing app");
const QString resumed = QStringLiteral("info: resumed Now Playing app");
const QString nothing = QStringLiteral("info: nothing playing");
const QString lateResume = QStringLiteral("info: pause landed after exit — resuming");

}  // namespace

TEST(MediaPlaybackController, nothingPlayingSendsNoPauseAndTheResumeSendsNothing)
{
    Media m;
    m.adapter.setPlaying(false);
    m.controller->pause();
    m.settle();
    EXPECT_EQ(m.adapter.commands(), QStringList{"status"});
    EXPECT_FALSE(m.controller->pausedByUs());
    EXPECT_EQ(m.log.lines(), QStringList{nothing});

    m.controller->resume();
    m.settle();
    EXPECT_EQ(m.adapter.commands(), QStringList{"status"});
    EXPECT_EQ(m.controller->generation(), 2);

    // A status that fails counts as nothing playing, and its text is logged.
    m.log.clear();
    m.adapter.answer("status", MediaAdapterResult::failure("adapter dylib missing from bundle"));
    m.controller->pause();
    m.settle();
    EXPECT_EQ(m.log.lines(), (QStringList{"warning: adapter dylib missing from bundle", nothing}));
    EXPECT_EQ(m.adapter.count("pause"), 0);
}

TEST(MediaPlaybackController, playbackPausedAtTheStartIsResumedAtTheEnd)
{
    Media m;
    m.adapter.setPlaying(true);
    m.controller->pause();
    // Status and pause run one after the other off the main thread; the claim is made when the pause is back.
    m.scheduler.advance(0.1);
    EXPECT_EQ(m.adapter.commands(), QStringList{"status"});
    EXPECT_FALSE(m.controller->pausedByUs());
    m.scheduler.advance(0.1);
    EXPECT_EQ(m.adapter.commands(), (QStringList{"status", "pause"}));
    EXPECT_TRUE(m.controller->pausedByUs());
    EXPECT_EQ(m.log.lines(), QStringList{paused});

    m.controller->resume();
    EXPECT_FALSE(m.controller->pausedByUs());
    m.settle();
    EXPECT_EQ(m.adapter.commands(), (QStringList{"status", "pause", "play"}));
    EXPECT_EQ(m.log.lines(), (QStringList{paused, resumed}));
}

TEST(MediaPlaybackController, aStatusWithPlayingAnywhereInItCountsAsPlaying)
{
    Media m;
    m.adapter.answer("status", MediaAdapterResult::success("app=Music title=Song\nrate=1 playing=1 elapsed=3.5\n"));
    m.controller->pause();
    m.settle();
    EXPECT_EQ(m.adapter.commands(), (QStringList{"status", "pause"}));
    EXPECT_TRUE(m.controller->pausedByUs());

}

TEST(MediaPlaybackController, quickDimEndingBeforeThePauseReturnedUndoesThePause)
{
    Media m;
    m.adapter.setPlaying(true);
    m.controller->pause();
    m.scheduler.advance(0.15);  // status is back, the pause is running
    EXPECT_EQ(m.adapter.commands(), (QStringList{"status"}));
    m.controller->resume();  // nothing claimed yet: sends nothing itself
    m.scheduler.advance(0.06);
    EXPECT_EQ(m.adapter.commands(), (QStringList{"status", "pause"}));
    m.settle();
    EXPECT_EQ(m.adapter.commands(), (QStringList{"status", "pause", "play"}));
    EXPECT_FALSE(m.controller->pausedByUs());
    EXPECT_EQ(m.log.lines(), (QStringList{paused, lateResume}));

    // Ended even before the status was back: the pause still goes out, and is undone the same way.
    Media early;
    early.adapter.setPlaying(true);
    early.controller->pause();
    early.controller->resume();
    early.settle();
    EXPECT_EQ(early.adapter.commands(), (QStringList{"status", "pause", "play"}));
    EXPECT_FALSE(early.controller->pausedByUs());
    EXPECT_TRUE(early.log.has(lateResume));
}

TEST(MediaPlaybackController, aNewQuickDimOvertakingAPauseInFlightAlsoUndoesIt)
{
    Media m;
    m.adapter.setPlaying(true);
    m.controller->pause();
    m.scheduler.advance(0.15);
    m.adapter.setPlaying(false);  // our pause is about to land; the second status sees nothing playing
    m.controller->pause();
    m.settle();
    EXPECT_EQ(m.adapter.commands(), (QStringList{"status", "pause", "status", "play"}));
    EXPECT_FALSE(m.controller->pausedByUs());
    EXPECT_EQ(m.controller->generation(), 2);
}

TEST(MediaPlaybackController, twoResumesSendPlayAtMostOnce)
{
    Media m;
    m.adapter.setPlaying(true);
    m.controller->pause();
    m.settle();
    m.controller->resume();
    m.controller->resume();
    m.settle();
    EXPECT_EQ(m.adapter.count("play"), 1);
    m.controller->resume();
    m.settle();
    EXPECT_EQ(m.adapter.count("play"), 1);
    EXPECT_EQ(m.controller->generation(), 4);
}

TEST(MediaPlaybackController, failuresAreLoggedWithTheirTextAndNothingIsClaimed)
{
    Media m;
    m.adapter.setPlaying(true);
    m.adapter.answer("pause", MediaAdapterResult::failure("adapter pause failed (1): no such app"));
    m.controller->pause();
    m.settle();
    EXPECT_FALSE(m.controller->pausedByUs());
    EXPECT_EQ(m.log.lines(), QStringList{"warning: adapter pause failed (1): no such app"});
    m.controller->resume();
    m.settle();
    EXPECT_EQ(m.adapter.count("play"), 0);

    Media failingPlay;
    failingPlay.adapter.setPlaying(true);
    failingPlay.adapter.answer("play", MediaAdapterResult::failure("the paused player has quit"));
    failingPlay.controller->pause();
    failingPlay.settle();
    failingPlay.controller->resume();
    failingPlay.settle();
    EXPECT_EQ(failingPlay.log.lines(), (QStringList{paused, "warning: the paused player has quit"}));
    EXPECT_FALSE(failingPlay.controller->pausedByUs());
}

TEST(MediaPlaybackController, anAnswerArrivingAfterTheControllerIsGoneIsDropped)
{
    Media m;
    m.adapter.setPlaying(true);
    m.controller->pause();
    m.scheduler.advance(0.05);
    m.controller.reset();
    m.settle();
    EXPECT_EQ(m.adapter.commands(), QStringList{"status"});  // the status ran; nothing followed it
    EXPECT_TRUE(m.log.lines().isEmpty());
}
