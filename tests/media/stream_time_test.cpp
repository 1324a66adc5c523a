#include "media/stream_time.h"

#include <gtest/gtest.h>

#include "tests/testlib/fake_engine.h"

namespace tw::media {
namespace {

TEST(OpenStreamTest, APathThatIsNoFileIsTriedAsAnAddressAndGivesNothing) {
    test::FakeEngine e;
    EXPECT_EQ(openStream(e, "/nowhere/x.mp3", 0, 0, audio::kStreamDecode, "/nowhere/x.mp3"), 0u);
    ASSERT_EQ(e.calls.size(), 1u);
    EXPECT_EQ(e.calls[0], "streamCreateFile /nowhere/x.mp3 " +
                              std::to_string(audio::kStreamDecode | audio::kUnicode));
    EXPECT_EQ(e.urlCallsNow(), std::vector<std::string>{"streamCreateUrl /nowhere/x.mp3"});
}

TEST(StreamTimeTest, DurationOfTheZeroHandleIsAnErrorValueThatReadsAsNegative) {
    test::FakeEngine e;
    cbass_time t(e);
    EXPECT_LT(t.GetDuration(0), 0.0f);
    EXPECT_FALSE(3 * 1.5f < t.GetDuration(0));
}

TEST(StreamTimeTest, APlayingStreamWithoutALengthCountsAsADayAndAStoppedOneAsOver) {
    test::FakeEngine e;
    cbass_time t(e);
    const audio::Handle h = e.addStream(0);
    e.channel(h).length = -1;  // a stream address: its length is unknown
    EXPECT_FLOAT_EQ(t.GetDuration(h), kUnknownStreamSeconds);
    e.channel(h).state = audio::kStopped;
    EXPECT_LT(t.GetDuration(h), 0.0f);
}

TEST(StreamTimeTest, PositionsAndLengthsInSecondsOfTheDecodedForm) {
    test::FakeEngine e;
    cbass_time t(e);
    audio::Handle h = e.addStream(200);
    e.setPositionSeconds(h, 12.5);
    EXPECT_FLOAT_EQ(t.GetDuration(h), 200.0f);
    EXPECT_FLOAT_EQ(t.GetPlayingPos(h), 12.5f);
    EXPECT_EQ(t.GetBytesPerSecond(h), 176400);
    EXPECT_EQ(t.GetMode(h), "Stereo");
    EXPECT_EQ(t.GetBits(h), 16);
    EXPECT_EQ(t.GetFrequency(h), 44100);
    EXPECT_FLOAT_EQ(t.GetBitsPerSecond(h, 3200000), 128.0f);
    e.channel(h).chans = 1;
    EXPECT_EQ(t.GetMode(h), "Mono");
    e.channel(h).chans = 6;
    EXPECT_EQ(t.GetMode(h), "6 MultiChannel");
}

TEST(StreamTimeTest, SeekGoesToTheBytePositionAndWordsSplitTheLevel) {
    test::FakeEngine e;
    audio::Handle h = e.addStream(10);
    EXPECT_TRUE(seekStream(e, h, 4000, 0));
    EXPECT_EQ(e.channelGetPosition(h), 4000);
    EXPECT_FALSE(seekStream(e, 0, 4000, 0));
    EXPECT_EQ(loWord(0x8000FFFFu), 0xFFFF);
    EXPECT_EQ(hiWord(0x8000FFFFu), 0x8000);
    EXPECT_DOUBLE_EQ(bytes2Seconds(e, h, 176400), 1.0);
}

}  // namespace
}  // namespace tw::media
