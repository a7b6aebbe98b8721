// Frame lists as farms write them, and the errors that name what is wrong.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/farm/FramePlan.h"
#include "cli/farm/FrameSelection.h"

namespace tv::cli {
namespace {

std::vector<int64_t> Frames(const std::string& text, int64_t frameCount = 1000) {
    std::vector<std::string> outside;
    return FramesInComp(ParseFrameSelection(text), frameCount, outside);
}

// The message of the error a list raises, or "" when it reads.
std::string ErrorOf(const std::string& text) {
    try {
        ParseFrameSelection(text);
    } catch (const FrameSelectionError& e) {
        return e.what();
    }
    return "";
}

std::vector<int64_t> Every(int64_t first, int64_t last, int64_t step = 1) {
    std::vector<int64_t> v;
    for (int64_t f = first; f <= last; f += step) v.push_back(f);
    return v;
}

TEST(FrameSelection, OneFrameARangeAndAList) {
    EXPECT_EQ(Frames("7"), std::vector<int64_t>{7});
    EXPECT_EQ(Frames("0-47"), Every(0, 47));
    EXPECT_EQ(Frames("1-100"), Every(1, 100));
    EXPECT_EQ(Frames("0,10,20"), (std::vector<int64_t>{0, 10, 20}));
}

TEST(FrameSelection, ARangeWithAStepLandsOnEveryStepFromItsFirstFrame) {
    EXPECT_EQ(Frames("1-100:5"), Every(1, 96, 5));
    EXPECT_EQ(Frames("0-10:5"), (std::vector<int64_t>{0, 5, 10}));
    EXPECT_EQ(Frames("3-3:4"), std::vector<int64_t>{3});
    EXPECT_EQ(Frames("2-9:100"), std::vector<int64_t>{2});
}

TEST(FrameSelection, MixedListsAreSortedAndEachFrameComesOnce) {
    std::vector<int64_t> expected = {1, 2, 3, 5};
    for (int64_t f : Every(7, 20, 2)) expected.push_back(f);
    EXPECT_EQ(Frames("1-3,5,7-20:2"), expected);
    EXPECT_EQ(Frames("10,1-4,3"), (std::vector<int64_t>{1, 2, 3, 4, 10}));
}

TEST(FrameSelection, SpacesAroundPiecesAreAllowed) {
    EXPECT_EQ(Frames(" 1-3 , 5 "), (std::vector<int64_t>{1, 2, 3, 5}));
}

TEST(FrameSelection, AReversedRangeNamesThePieceAndTheRightOrder) {
    const std::string e = ErrorOf("1-3,20-10");
    EXPECT_NE(e.find("\"20-10\" runs backwards"), std::string::npos) << e;
    EXPECT_NE(e.find("10-20"), std::string::npos) << e;
    EXPECT_NE(ErrorOf("9-8:2").find("\"9-8:2\" runs backwards"), std::string::npos);
}

TEST(FrameSelection, StepZeroIsRefused) {
    const std::string e = ErrorOf("1-100:0");
    EXPECT_NE(e.find("\"1-100:0\" has step 0"), std::string::npos) << e;
    EXPECT_NE(e.find("1 or more"), std::string::npos) << e;
}

TEST(FrameSelection, GarbageNamesTheBadPieceAndTheValidForms) {
    for (const std::string bad : {"abc", "1-", "-5", "1-2-3", "1:2:3-4", "1-3:x", "1-3:", "+4",
                                  "0x10", "1.5", "1-3:-1", "five", "1 - 3"}) {
        const std::string e = ErrorOf("0," + bad);
        EXPECT_NE(e.find("\"" + bad + "\""), std::string::npos) << bad << ": " << e;
        EXPECT_NE(e.find("1-100:5"), std::string::npos) << bad << ": " << e;
    }
}

TEST(FrameSelection, EmptyPiecesAndAnEmptyListAreRefused) {
    EXPECT_NE(ErrorOf("1,,3").find("empty piece"), std::string::npos);
    EXPECT_NE(ErrorOf("1,").find("empty piece"), std::string::npos);
    EXPECT_NE(ErrorOf("").find("no frames"), std::string::npos);
    EXPECT_NE(ErrorOf("  ").find("no frames"), std::string::npos);
}

TEST(FrameSelection, AStepNeedsARange) {
    EXPECT_NE(ErrorOf("5:2").find("has a step but no range"), std::string::npos) << ErrorOf("5:2");
}

TEST(FrameSelection, NumbersTooLargeForAFrameAreRefused) {
    EXPECT_NE(ErrorOf("0-99999999999999999999").find("too large"), std::string::npos);
}

TEST(FrameSelection, FramesPastTheCompAreLeftOutAndDescribed) {
    std::vector<std::string> outside;
    const auto frames = FramesInComp(ParseFrameSelection("40-100:3,7,60"), 48, outside);
    std::vector<int64_t> expected = {7, 40, 43, 46};
    EXPECT_EQ(frames, expected);
    EXPECT_EQ(outside, (std::vector<std::string>{"49-100:3", "60"}));
}

TEST(FrameSelection, AHugeRangeIsNeverExpandedPastTheComp) {
    std::vector<std::string> outside;
    const auto frames = FramesInComp(ParseFrameSelection("0-9000000000000000000:1"), 10, outside);
    EXPECT_EQ(frames, Every(0, 9));
    EXPECT_EQ(outside, std::vector<std::string>{"10-9000000000000000000"});
    outside.clear();
    EXPECT_EQ(
        FramesInComp(ParseFrameSelection("5-9000000000000000000:9000000000000000000"), 10, outside),
        std::vector<int64_t>{5});
    EXPECT_TRUE(outside.empty());
}

// A day at ten million frames a second would have built a list of 864 billion frames: the
// selection is counted first and refused.
TEST(FramePlan, ASelectionPastTheFramesOfOneRunIsRefusedBeforeTheListIsBuilt) {
    const int64_t frames = int64_t(86400) * 10'000'000;
    std::string error;
    try {
        PlanFrames("", frames, Shard{0, 1}, ShardMode::Contiguous);
    } catch (const FrameSelectionError& e) {
        error = e.what();
    }
    EXPECT_NE(error.find("864000000000 frames; one run renders at most 10000000"),
              std::string::npos)
        << error;
    EXPECT_EQ(PlanFrames("0-99", frames, Shard{3, 4}, ShardMode::Contiguous).mine.size(), 25u);
}

}  // namespace
}  // namespace tv::cli
