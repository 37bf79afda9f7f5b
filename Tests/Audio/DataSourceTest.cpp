#include "KXFW/Audio/KXAFilePlayerDataSource.h"
#include "KXFW/Audio/KXAudioUtil.h"
#include "Tests/Audio/AudioDataFixtures.h"

using namespace kx::test;

namespace
{

std::shared_ptr<KXAFilePlayerDataSource> source(int64_t frames)
{
    auto made = KXAFilePlayerDataSource::dataSourceWithContentsOfURL(make({.frames = frames, .signal = Signal::Index}));
    made->param()->setInputDesc(GetStandardDescription());
    return made;
}

TEST(DataSource, StartsWithTheWholeFileAsItsRange)
{
    const auto made = source(441000);
    EXPECT_EQ(made->param()->startOffset(), 0);
    EXPECT_EQ(made->param()->endOffset(), 1764000);
    EXPECT_EQ(made->param()->byteOffset(), 0);
    EXPECT_TRUE(made->param()->loop());
    made->seek(1000);
    EXPECT_EQ(made->param()->byteOffset(), 4000);
    uint32_t frames = 1;
    Frame frame = 0;
    made->readToBuffer(&frame, &frames);
    EXPECT_EQ(indexIn(frame), 1000);
    EXPECT_EQ(KXAFilePlayerDataSource::dataSourceWithContentsOfURL("/nowhere"), nullptr);
    EXPECT_EQ(_read2(made->audioData().get(), nullptr, 4098), 4096U);
}

TEST(DataSource, PrerendersAroundTheRange)
{
    const auto made = source(441000);
    const auto param = made->param();
    const auto walk = [&](bool loop, int64_t position, uint32_t frames) {
        param->setLoop(loop);
        made->seek(position / 4);
        param->setByteOffset(position);
        made->prerenderToBuffer(nullptr, frames);
        return param->byteOffset();
    };
    param->setEndOffset(40000);
    EXPECT_EQ(walk(true, 39000, 512), 1048);
    EXPECT_EQ(walk(false, 39000, 512), 41048) << "without loop the range's end is passed";
    EXPECT_EQ(walk(true, 50000, 512), 2048) << "outside the range: from its start";
    param->setStartOffset(4000);
    param->setEndOffset(4400);
    EXPECT_EQ(walk(true, 4000, 512), 4048) << "a range of 100 frames: 5 passes and 12 frames";
    uint32_t one = 1;
    Frame frame = 0;
    made->readToBuffer(&frame, &one);
    EXPECT_EQ(indexIn(frame), 1012);
}

TEST(DataSource, PrerendersNothingWithoutARangeOrAFormat)
{
    const auto made = source(1000);
    made->prerenderToBuffer(nullptr, 0);
    made->param()->setEndOffset(0);
    made->prerenderToBuffer(nullptr, 512);
    made->param()->setEndOffset(4000);
    made->param()->setInputDesc({});
    made->prerenderToBuffer(nullptr, 512);
    EXPECT_EQ(made->param()->byteOffset(), 0);
    const auto empty = source(0);
    empty->prerenderToBuffer(nullptr, 512);
    EXPECT_EQ(empty->param()->byteOffset(), 0);
}

} // namespace
