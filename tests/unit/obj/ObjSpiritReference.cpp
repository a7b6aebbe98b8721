#include "tests/unit/obj/ObjSpiritReference.h"

#include <boost/spirit/include/qi.hpp>
#include <cstdint>

namespace tv::objtest {

namespace {

namespace qi = boost::spirit::qi;
using Iterator = const char*;
using RawObj = SpiritObj;

// Negative indices count back from the lines read so far; positive ones are one-based. 0 becomes
// -1 and fails the range check.
Vec3i ZeroBased(int32_t a, int32_t b, int32_t c, size_t count) {
    auto fix = [count](int32_t x) {
        int64_t v = x;
        if (v < 0) v += 1 + int64_t(count);
        return int32_t(v - 1);
    };
    return {fix(a), fix(b), fix(c)};
}

// Blanks, and comments: a letter other than v, n, t, f (or #) up to the end of the line. Object,
// group, material and smoothing lines fall here, as does a stray word after a number.
template <typename It>
struct Skipper : qi::grammar<It> {
    Skipper() : Skipper::base_type(start) {
        start = qi::blank | ((qi::char_("a-zA-Z#") - qi::char_("vntf")) >> *(qi::char_ - qi::eol));
    }
    qi::rule<It> start;
};

template <typename It>
struct ObjGrammar : qi::grammar<It, Skipper<It>> {
    explicit ObjGrammar(RawObj& raw) : ObjGrammar::base_type(start), raw_(raw) {
        using qi::double_;
        using qi::int_;
        using qi::lit;
        namespace ph = boost::phoenix;

        auto push3 = [](std::vector<std::array<double, 3>>& to) {
            return [&to](const boost::fusion::vector<double, double, double>& v) {
                to.push_back({boost::fusion::at_c<0>(v), boost::fusion::at_c<1>(v),
                              boost::fusion::at_c<2>(v)});
            };
        };
        vertex = (lit("v") >> double_ >> double_ >> double_)[push3(raw_.positions)];
        normal = (lit("vn") >> double_ >> double_ >> double_)[push3(raw_.normals)];
        texture =
            (lit("vt") >> double_ >> double_ >> (double_ | qi::attr(0.0)))[push3(raw_.texCoords)];

        full = int_ >> '/' >> int_ >> '/' >> int_;
        posNormal = int_ >> lit("//") >> int_;
        posTex = int_ >> '/' >> int_;

        faceFull = (lit("f") >> full >> full >> full)[([this](const auto& a) { onFull(a); })];
        facePosNormal = (lit("f") >> posNormal >> posNormal >> posNormal)[(
            [this](const auto& a) { onPair(a, raw_.faceNormals, raw_.normals.size()); })];
        facePosTex =
            (lit("f") >> posTex >> posTex >>
             posTex)[([this](const auto& a) { onPair(a, raw_.faceTex, raw_.texCoords.size()); })];
        facePos = (lit("f") >> int_ >> int_ >> int_)[([this](const auto& a) {
            using boost::fusion::at_c;
            raw_.faces.push_back(
                ZeroBased(at_c<0>(a), at_c<1>(a), at_c<2>(a), raw_.positions.size()));
        })];

        line = normal | texture | vertex | faceFull | facePosNormal | facePosTex | facePos;
        start = -line % qi::eol;
    }

  private:
    template <typename A>
    void onFull(const A& a) {
        using boost::fusion::at_c;
        const auto &c0 = at_c<0>(a), &c1 = at_c<1>(a), &c2 = at_c<2>(a);
        raw_.faces.push_back(
            ZeroBased(at_c<0>(c0), at_c<0>(c1), at_c<0>(c2), raw_.positions.size()));
        raw_.faceTex.push_back(
            ZeroBased(at_c<1>(c0), at_c<1>(c1), at_c<1>(c2), raw_.texCoords.size()));
        raw_.faceNormals.push_back(
            ZeroBased(at_c<2>(c0), at_c<2>(c1), at_c<2>(c2), raw_.normals.size()));
    }
    template <typename A>
    void onPair(const A& a, std::vector<Vec3i>& second, size_t secondCount) {
        using boost::fusion::at_c;
        const auto &c0 = at_c<0>(a), &c1 = at_c<1>(a), &c2 = at_c<2>(a);
        raw_.faces.push_back(
            ZeroBased(at_c<0>(c0), at_c<0>(c1), at_c<0>(c2), raw_.positions.size()));
        second.push_back(ZeroBased(at_c<1>(c0), at_c<1>(c1), at_c<1>(c2), secondCount));
    }

    using Corner3 = boost::fusion::vector<int, int, int>;
    using Corner2 = boost::fusion::vector<int, int>;
    RawObj& raw_;
    qi::rule<It, Skipper<It>> vertex, normal, texture, line, start;
    qi::rule<It, Corner3(), Skipper<It>> full;
    qi::rule<It, Corner2(), Skipper<It>> posNormal, posTex;
    qi::rule<It, Skipper<It>> faceFull, facePosNormal, facePosTex, facePos;
};

// One-based line of `at`, a character of the text: line breaks ("\r\n", "\r" or "\n") before
// it, plus one.
size_t LineOf(const char* begin, const char* at) {
    size_t line = 1;
    for (const char* p = begin; p < at; ++p)
        if (*p == '\n' || (*p == '\r' && p[1] != '\n')) ++line;
    return line;
}

}  // namespace

SpiritObj ParseWithSpirit(std::string_view text) {
    RawObj raw;
    const ObjGrammar<Iterator> grammar(raw);
    const Skipper<Iterator> skipper;
    Iterator pos = text.data();
    const Iterator end = text.data() + text.size();
    // A line the grammar cannot take ends a parse call; skip it and parse on from its eol.
    while (true) {
        qi::phrase_parse(pos, end, grammar, skipper);
        if (pos == end) break;
        raw.badLines.push_back(LineOf(text.data(), pos));
        ++pos;
        while (pos != end && *pos != '\r' && *pos != '\n') ++pos;
        if (pos == end) break;
    }
    return raw;
}

}  // namespace tv::objtest
