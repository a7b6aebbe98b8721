// Documents whose size is the attack: chains of tens of thousands of parents or precomps, names
// of a hundred thousand characters. Each must be checked in time linear in its size and end
// with its result or a clear refusal, never exhaust the stack.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "standalone/Document.h"
#include "standalone/EmbeddedHost.h"

namespace tv::standalone {
namespace {

using Clock = std::chrono::steady_clock;

// The time bounds hold for the build as used; the sanitizer build runs several times slower.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kSlowdown = 6;
#else
constexpr int kSlowdown = 1;
#endif

std::chrono::seconds Bound(int seconds) {
    return std::chrono::seconds(seconds * kSlowdown);
}

std::string LoadError(const std::string& text) {
    EmbeddedHost host;
    try {
        LoadDocumentText(text, "scale.json", host);
    } catch (const std::exception& e) {
        return e.what();
    }
    return {};
}

TEST(HostileScale, AParentChainOfTwentyThousandLayersLoadsInSeconds) {
    std::string layers;
    for (int i = 0; i < 20000; ++i) {
        layers += i ? "," : "";
        layers += "{\"name\": \"L" + std::to_string(i) + "\", \"null\": {}" +
                  (i ? ", \"parent\": \"L" + std::to_string(i - 1) + "\"" : "") + "}";
    }
    const auto start = Clock::now();
    const std::string error =
        LoadError("{\"tavrin\": 1, \"comps\": [{\"name\": \"C\", \"layers\": [" + layers + "]}]}");
    EXPECT_EQ(error, "");
    EXPECT_LT(Clock::now() - start, Bound(10));
}

// The parser's walk is linear in a list's length: a list of 300,000 objects once took minutes,
// each object's end looking through all of its list before it.
TEST(HostileScale, AListOfThreeHundredThousandLayersParsesInSeconds) {
    std::string layers;
    layers.reserve(300000 * 40);
    for (int i = 0; i < 300000; ++i) {
        layers += i ? "," : "";
        layers += "{\"name\": \"L" + std::to_string(i) + "\", \"null\": {}}";
    }
    const auto start = Clock::now();
    const std::string error =
        LoadError("{\"tavrin\": 1, \"comps\": [{\"name\": \"C\", \"layers\": [" + layers + "]}]}");
    EXPECT_EQ(error, "");
    EXPECT_LT(Clock::now() - start, Bound(20));
}

TEST(HostileScale, AParentCycleThroughThousandsOfLayersIsNamedOnce) {
    std::string layers;
    for (int i = 0; i < 5000; ++i) {
        layers += i ? "," : "";
        layers += "{\"name\": \"L" + std::to_string(i) + "\", \"null\": {}, \"parent\": \"L" +
                  std::to_string((i + 1) % 5000) + "\"}";
    }
    const std::string error =
        LoadError("{\"tavrin\": 1, \"comps\": [{\"name\": \"C\", \"layers\": [" + layers + "]}]}");
    EXPECT_NE(error.find("parenting forms a cycle: \"L0\" -> \"L1\""), std::string::npos)
        << error.substr(0, 300);
    EXPECT_LT(error.size(), 4000u);
}

TEST(HostileScale, AChainOfAHundredThousandPrecompsIsRefusedWithoutRecursion) {
    std::string comps;
    for (int i = 0; i < 100000; ++i) {
        comps += i ? "," : "";
        comps += "{\"name\": \"C" + std::to_string(i) + "\", \"width\": 8, \"height\": 8" +
                 (i + 1 < 100000 ? ", \"layers\": [{\"precomp\": {\"comp\": \"C" +
                                       std::to_string(i + 1) + "\"}}]"
                                 : std::string()) +
                 "}";
    }
    const auto start = Clock::now();
    const std::string error = LoadError("{\"tavrin\": 1, \"comps\": [" + comps + "]}");
    EXPECT_NE(error.find("precomps nest more than 64 levels deep"), std::string::npos)
        << error.substr(0, 300);
    EXPECT_LT(error.size(), 4000u);
    EXPECT_LT(Clock::now() - start, Bound(20));
}

TEST(HostileScale, AHugeMissingNameGetsABoundedHintQuickly) {
    const std::string name(150000, 'Q');
    const auto start = Clock::now();
    const std::string error = LoadError(
        "{\"tavrin\": 1, \"comps\": [{\"name\": \"C\", \"layers\": [{\"name\": \"L\", \"solid\": "
        "{}, \"effects\": [{\"effect\": \"Tavrin\", \"params\": {\"" +
        name + "\": 1}}]}]}]}");
    EXPECT_NE(error.find("did you mean"), std::string::npos) << error.substr(0, 300);
    EXPECT_LT(error.size(), 4000u);
    EXPECT_LT(Clock::now() - start, Bound(5));
}

}  // namespace
}  // namespace tv::standalone
