// The hostile-document corpus (tests/hostile): malformed and hostile documents and OBJ files,
// each with what must happen: a clear error naming the place, its documented result, or a
// refusal by the frame budget, always in seconds and without a crash.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/Gather.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "standalone/WorkEstimate.h"

namespace tv::standalone {
namespace {

struct Case {
    std::string file, expect;
};

std::vector<Case> Corpus() {
    std::vector<Case> cases;
    std::ifstream in(std::string(TAVRIN_TEST_DATA) + "/hostile/expected.tsv");
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        const size_t tab = line.find('\t');
        if (tab == std::string::npos) continue;
        cases.push_back({line.substr(0, tab), line.substr(tab + 1)});
    }
    return cases;
}

std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

bool StartsWith(const std::string& s, const std::string& prefix) {
    return s.rfind(prefix, 0) == 0;
}

class HostileCorpus : public ::testing::TestWithParam<Case> {};

TEST_P(HostileCorpus, EndsAsExpectedInSeconds) {
    const Case& c = GetParam();
    const std::string path = std::string(TAVRIN_TEST_DATA) + "/hostile/" + c.file;
    const auto start = std::chrono::steady_clock::now();
    EmbeddedHost host;
    std::string error;
    try {
        LoadDocumentText(Read(path), path, host);
    } catch (const std::exception& e) {
        error = e.what();
    }
    const bool accepted = error.empty();
    if (StartsWith(c.expect, "budget:")) {
        ASSERT_TRUE(accepted) << error;
        std::string why;
        try {
            for (const auto& comp : host.project().comps)
                CheckWorkBudget(host, *comp, 8.0 * (1ull << 30));
        } catch (const WorkLimitError& e) {
            why = e.what();
        }
        EXPECT_NE(why.find(c.expect.substr(7)), std::string::npos) << why;
    } else if (StartsWith(c.expect, "obj:")) {
        ASSERT_TRUE(accepted) << error;
        Comp& comp = *host.project().comps[0];
        ObjectMessage m;
        InitObjectMessage(m);
        ASSERT_EQ(Gather(host, comp.layers.back()->uid, comp.frameTime(0), m), 0);
        const std::string got = std::to_string(m.geometry->positions.size()) + " vertices";
        DisposeObjectMessage(m);
        const std::string want = c.expect.substr(4);
        if (want == "vertices")
            EXPECT_NE(got.find("vertices"), std::string::npos);
        else
            EXPECT_EQ(got, want);
    } else if (c.expect == "valid") {
        ASSERT_TRUE(accepted) << error;
        for (const auto& comp : host.project().comps) {
            CheckWorkBudget(host, *comp, 8.0 * (1ull << 30));
            CompRenderer renderer(host);
            std::vector<std::string> messages;
            const FloatImage image = renderer.renderFrame(*comp, 0, 8, messages);
            EXPECT_EQ(image.width, comp->width);
        }
    } else {
        ASSERT_FALSE(accepted) << c.file << " was accepted; expected an error with " << c.expect;
        EXPECT_NE(error.find(c.expect), std::string::npos) << error;
        // Every error names the document.
        EXPECT_NE(error.find(c.file), std::string::npos) << error;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << c.file;
}

INSTANTIATE_TEST_SUITE_P(Documents, HostileCorpus, ::testing::ValuesIn(Corpus()),
                         [](const ::testing::TestParamInfo<Case>& info) {
                             std::string name;
                             for (char ch : info.param.file)
                                 name += std::isalnum(static_cast<unsigned char>(ch)) ? ch : '_';
                             return name;
                         });

TEST(HostileCorpusSize, HoldsAtLeastEightyCases) {
    EXPECT_GE(Corpus().size(), 80u);
}

}  // namespace
}  // namespace tv::standalone
