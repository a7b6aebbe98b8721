// The depth sort on threads must leave records in exactly the order of the sort on one thread,
// equal keys included: the pictures depend on which of two records at the same depth is drawn
// last.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include "engines/DepthSort.h"
#include "engines/RenderEngine.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

// Points at one of `levels` depths, each tagged with its index in the red channel.
std::vector<DrawPoint> TaggedPoints(size_t n, int levels, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> depth(0, levels - 1);
    std::vector<DrawPoint> p(n);
    for (size_t i = 0; i < n; ++i) {
        p[i].z = depth(rng);
        p[i].color[0] = float(i);
    }
    return p;
}

std::vector<float> Tags(const std::vector<DrawPoint>& p) {
    std::vector<float> tags;
    tags.reserve(p.size());
    for (const DrawPoint& d : p) tags.push_back(d.color[0]);
    return tags;
}

// Runs the two sides on two new threads, so nested calls really run at once.
void OnThreads(int32_t count, const std::function<void(int32_t)>& job) {
    std::vector<std::thread> threads;
    for (int32_t i = 0; i < count; ++i) threads.emplace_back(job, i);
    for (std::thread& t : threads) t.join();
}

TEST(DepthSort, ThreadsKeepTheOneThreadOrderOfEqualKeys) {
    for (const int levels : {3, 1000, 1 << 30}) {
        std::vector<DrawPoint> serial = TaggedPoints(300000, levels, 7);
        std::vector<DrawPoint> threaded = serial;
        const auto key = [](const DrawPoint& d) { return d.z; };
        IntroSortFarFirst(serial.data(), serial.size(), key);
        IntroSortFarFirst(threaded.data(), threaded.size(), key, OnThreads);
        ASSERT_EQ(Tags(serial), Tags(threaded)) << levels << " depths";
        for (size_t i = 1; i < serial.size(); ++i) ASSERT_GE(serial[i - 1].z, serial[i].z);
    }
}

TEST(DepthSort, HostThreadsKeepTheOneThreadOrder) {
    standalone::EmbeddedHost host;
    const double dir[3] = {0.3, -0.2, 0.9};
    std::vector<DrawPoint> serial = TaggedPoints(200000, 50, 11);
    for (size_t i = 0; i < serial.size(); ++i) serial[i].x = double(i % 7);
    std::vector<DrawPoint> threaded = serial;
    DepthSort(serial, dir);
    DepthSort(threaded, dir, &host);
    EXPECT_EQ(Tags(serial), Tags(threaded));

    std::vector<DrawLine> lines(100000);
    for (size_t i = 0; i < lines.size(); ++i) {
        lines[i].start[2] = double(i % 13);
        lines[i].end[2] = double(i % 5);
        lines[i].startColor[0] = float(i);
    }
    std::vector<DrawLine> linesThreaded = lines;
    DepthSort(lines, dir);
    DepthSort(linesThreaded, dir, &host);
    for (size_t i = 0; i < lines.size(); ++i)
        ASSERT_EQ(lines[i].startColor[0], linesThreaded[i].startColor[0]) << i;
}

}  // namespace
}  // namespace tv
