// Records built in blocks on the threads come out as the plain loop would make them: the items
// taken, in item order, with the reports in item order on the calling thread.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "engines/BuildRecords.h"
#include "engines/RenderEngine.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

struct Item {
    size_t index = 0;
    size_t squared = 0;
};

TEST(BuildRecords, KeepsItemOrderAndReportsInOrderOnTheCallingThread) {
    standalone::EmbeddedHost host;
    const size_t count = 50000;  // a dozen blocks
    auto judge = [](size_t i) {
        if (i % 7 == 3) return Verdict::kSkip;
        if (i % 1000 == 999) return Verdict::kReport;
        return Verdict::kTake;
    };
    const std::thread::id caller = std::this_thread::get_id();
    std::vector<size_t> reported;
    bool reportedElsewhere = false;
    auto report = [&](size_t i) {
        reportedElsewhere |= std::this_thread::get_id() != caller;
        reported.push_back(i);
    };
    auto make = [](size_t i, Item& r) {
        r.index = i;
        r.squared = i * i;
    };
    std::vector<Item> threaded(2);  // records already there stay in front
    BuildRecords(&host, count, judge, report, make, threaded);

    std::vector<size_t> expectedTaken, expectedReports;
    for (size_t i = 0; i < count; ++i) {
        if (judge(i) == Verdict::kTake) expectedTaken.push_back(i);
        if (judge(i) == Verdict::kReport) expectedReports.push_back(i);
    }
    ASSERT_EQ(threaded.size(), expectedTaken.size() + 2);
    EXPECT_EQ(threaded[0].index, 0u);
    EXPECT_EQ(threaded[1].squared, 0u);
    for (size_t k = 0; k < expectedTaken.size(); ++k) {
        ASSERT_EQ(threaded[k + 2].index, expectedTaken[k]) << k;
        ASSERT_EQ(threaded[k + 2].squared, expectedTaken[k] * expectedTaken[k]) << k;
    }
    EXPECT_EQ(reported, expectedReports);
    EXPECT_FALSE(reportedElsewhere);

    // Without a host the same records come out, on this thread.
    std::vector<Item> serial(2);
    std::vector<size_t> before = reported;
    reported.clear();
    BuildRecords(static_cast<HostServices*>(nullptr), count, judge, report, make, serial);
    ASSERT_EQ(serial.size(), threaded.size());
    for (size_t k = 0; k < serial.size(); ++k) EXPECT_EQ(serial[k].index, threaded[k].index);
    EXPECT_EQ(reported, before);
}

TEST(BuildRecords, NothingToBuild) {
    std::vector<Item> out;
    BuildRecords(
        static_cast<HostServices*>(nullptr), 0, [](size_t) { return Verdict::kTake; },
        [](size_t) {}, [](size_t, Item&) {}, out);
    EXPECT_TRUE(out.empty());
}

}  // namespace
}  // namespace tv

namespace tv {
namespace {

// Lines at a few depths (so many share a key), each tagged with its pair's index.
DrawLine TaggedLine(size_t i) {
    DrawLine l;
    l.start[2] = double(i % 5);
    l.end[2] = double(i % 3);
    l.start[0] = double(i % 11);
    l.startColor[0] = float(i);
    return l;
}

TEST(BuildSortedRecords, SameOrderAsBuildingThenSortingTheRecords) {
    standalone::EmbeddedHost host;
    const double view[3] = {0.2, 0.1, 0.97};
    const size_t count = 60000;
    auto judge = [](size_t i) { return i % 9 == 4 ? Verdict::kSkip : Verdict::kTake; };
    auto report = [](size_t) {};
    auto make = [](size_t i, DrawLine& l) { l = TaggedLine(i); };
    auto key = [&view](const DrawLine& l) { return DepthKey(l, view); };

    std::vector<DrawLine> sortedAfter;
    BuildRecords(static_cast<HostServices*>(nullptr), count, judge, report, make, sortedAfter);
    DepthSort(sortedAfter, view);

    for (HostServices* h :
         {static_cast<HostServices*>(&host), static_cast<HostServices*>(nullptr)}) {
        std::vector<DrawLine> sortedKeys;
        BuildSortedRecords(h, count, judge, report, make, key, sortedKeys);
        ASSERT_EQ(sortedKeys.size(), sortedAfter.size());
        for (size_t k = 0; k < sortedKeys.size(); ++k)
            ASSERT_EQ(sortedKeys[k].startColor[0], sortedAfter[k].startColor[0]) << k;
    }
}

}  // namespace
}  // namespace tv
