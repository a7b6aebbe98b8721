// Text parameters (the name filters) in documents: a plain string stored as a byte length and
// UTF-8 bytes, read back by tavrin save and shown by tavrin info.
#include <gtest/gtest.h>

#include "standalone/Document.h"
#include "standalone/DocumentText.h"
#include "standalone/DocumentWriter.h"

namespace tv {
namespace {

using standalone::DocumentError;
using standalone::EmbeddedHost;

std::string Doc(const std::string& effects) {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 32, "layers": [
        {"name": "Fx", "solid": {}, "effects": [)" +
           effects + "]}]}]}";
}

const standalone::ParamState& Param(EmbeddedHost& host, size_t effect, size_t index) {
    return host.project().comps[0]->layers[0]->effects[effect]->params[index];
}

std::vector<uint8_t> Bytes(std::initializer_list<int> values) {
    std::vector<uint8_t> out;
    for (int v : values) out.push_back(uint8_t(v));
    return out;
}

TEST(TextParam, StringBecomesLengthAndBytes) {
    EmbeddedHost host;
    standalone::LoadDocumentText(
        Doc(R"({"effect": "Tavrin", "params": {"Light(s) Name Begins with": "Key"}})"), "t.json",
        host);
    EXPECT_EQ(host.handleBytes(Param(host, 0, 4).value.u.arbData),
              Bytes({3, 0, 0, 0, 'K', 'e', 'y'}));
}

TEST(TextParam, EmptyTextIsALengthOfZero) {
    EmbeddedHost host;
    standalone::LoadDocumentText(
        Doc(R"({"effect": "Tavrin", "params": {"Light(s) Name Begins with": ""}})"), "t.json",
        host);
    EXPECT_EQ(host.handleBytes(Param(host, 0, 4).value.u.arbData), Bytes({0, 0, 0, 0}));
}

TEST(TextParam, NonAsciiKeepsItsUtf8Bytes) {
    EmbeddedHost host;
    // "Lé": L, then U+00E9 as the two bytes C3 A9.
    standalone::LoadDocumentText(
        Doc(R"({"effect": "Tavrin", "params": {"Light(s) Name Begins with": "L\u00e9"}})"),
        "t.json", host);
    EXPECT_EQ(host.handleBytes(Param(host, 0, 4).value.u.arbData),
              Bytes({3, 0, 0, 0, 'L', 0xC3, 0xA9}));
}

TEST(TextParam, TheEffectorsLightNameTakesTextToo) {
    EmbeddedHost host;
    standalone::LoadDocumentText(Doc(R"({"effect": "Tavrin"}, {"effect": "Tavrin Noise Effector",
               "params": {"Light Name Begins with": "Fill"}})"),
                                 "t.json", host);
    EXPECT_EQ(host.handleBytes(Param(host, 1, 25).value.u.arbData),
              Bytes({4, 0, 0, 0, 'F', 'i', 'l', 'l'}));
}

std::pair<std::string, std::string> Error(const std::string& params) {
    EmbeddedHost host;
    try {
        standalone::LoadDocumentText(Doc(R"({"effect": "Tavrin", "params": )" + params + "}"),
                                     "t.json", host);
    } catch (const DocumentError& e) {
        return {e.jsonPath(), e.message()};
    }
    return {"", "(loaded)"};
}

TEST(TextParam, NumbersAndKeysAreRefused) {
    const std::string path = "$.comps[0].layers[0].effects[0].params.Light(s) Name Begins with";
    EXPECT_EQ(Error(R"({"Light(s) Name Begins with": 5})"),
              std::make_pair(path, std::string("expected a string, found 5")));
    EXPECT_EQ(Error(R"({"Light(s) Name Begins with": {"keys": [{"t": 0, "v": "A"}]}})"),
              std::make_pair(path, std::string("this parameter cannot be keyframed")));
}

TEST(TextParam, SaveWritesTheStringAndReloadsTheSameBytes) {
    EmbeddedHost a;
    standalone::LoadDocumentText(
        Doc(R"({"effect": "Tavrin", "params": {"Light(s) Name Begins with": "L\u00e9 \"q\""}})"),
        "t.json", a);
    const std::string saved = standalone::SaveDocumentText(a, "t.json");
    EXPECT_NE(saved.find(R"("Light(s) Name Begins with": "Lé \"q\"")"), std::string::npos) << saved;
    EmbeddedHost b;
    standalone::LoadDocumentText(saved, "t.json", b);
    EXPECT_EQ(b.handleBytes(Param(b, 0, 4).value.u.arbData),
              a.handleBytes(Param(a, 0, 4).value.u.arbData));
    EXPECT_EQ(standalone::SaveDocumentText(b, "t.json"), saved);
}

TEST(TextParam, RecordsThatClaimMoreThanTheyHoldAreRefused) {
    EXPECT_EQ(standalone::ReadTextRecord(Bytes({4, 0, 0, 0, 'a', 'b'})), std::nullopt);
    EXPECT_EQ(standalone::ReadTextRecord(Bytes({0, 0})), std::nullopt);
    EXPECT_EQ(standalone::ReadTextRecord(Bytes({2, 0, 0, 0, 'a', 'b', 'c'})), "ab");
    EXPECT_EQ(standalone::MakeTextRecord(""), Bytes({0, 0, 0, 0}));
}

}  // namespace
}  // namespace tv
