#include "sources/ObjReader.h"

#include <boost/spirit/include/qi.hpp>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>

namespace tv {

namespace {

namespace qi = boost::spirit::qi;
using Iterator = const char*;

// Everything the parse collects before the range checks.
struct RawObj {
    std::vector<std::array<double, 3>> positions;
    std::vector<std::array<double, 3>> normals;
    std::vector<std::array<double, 3>> texCoords;
    std::vector<Vec3i> faces;
    std::vector<Vec3i> faceNormals;
    std::vector<Vec3i> faceTex;
};

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

bool InRange(const std::vector<Vec3i>& faces, size_t count) {
    for (const Vec3i& f : faces)
        for (int32_t i : {f.x, f.y, f.z})
            if (i < 0 || size_t(i) >= count) return false;
    return true;
}

// One value per position: taken as they are when there are as many as positions, else written
// through the face corners (the last face to touch a vertex wins, untouched vertices stay zero).
// Nothing when the per-face indices do not cover every face.
void PerVertex(const RawObj& raw, const std::vector<std::array<double, 3>>& values,
               const std::vector<Vec3i>& faceIndex, std::vector<Vec3f>& out) {
    if (values.empty() || faceIndex.size() != raw.faces.size()) return;
    auto narrow = [](const std::array<double, 3>& v) {
        return Vec3f{float(v[0]), float(v[1]), float(v[2])};
    };
    if (values.size() == raw.positions.size()) {
        for (const auto& v : values) out.push_back(narrow(v));
        return;
    }
    std::vector<Vec3f> perVertex(raw.positions.size());
    for (size_t f = 0; f < raw.faces.size(); ++f) {
        const Vec3i& p = raw.faces[f];
        const Vec3i& q = faceIndex[f];
        perVertex[size_t(p.x)] = narrow(values[size_t(q.x)]);
        perVertex[size_t(p.y)] = narrow(values[size_t(q.y)]);
        perVertex[size_t(p.z)] = narrow(values[size_t(q.z)]);
    }
    out.insert(out.end(), perVertex.begin(), perVertex.end());
}

bool ReadWhole(const std::string& path, std::string& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

}  // namespace

bool ReadObj(const std::string& path, std::vector<std::array<double, 3>>& positions,
             std::vector<Vec3i>& faces, std::vector<Vec3f>& normals,
             std::vector<Vec3f>& texCoords) {
    return ReadObj(path, positions, faces, normals, texCoords, std::cout);
}

bool ReadObj(const std::string& path, std::vector<std::array<double, 3>>& positions,
             std::vector<Vec3i>& faces, std::vector<Vec3f>& normals, std::vector<Vec3f>& texCoords,
             std::ostream& log) {
    std::string bytes;
    if (path.empty() || !ReadWhole(path, bytes)) return false;

    RawObj raw;
    bool ok = true;
    try {
        const ObjGrammar<Iterator> grammar(raw);
        const Skipper<Iterator> skipper;
        Iterator pos = bytes.data();
        const Iterator end = bytes.data() + bytes.size();
        // A line the grammar cannot take ends a parse call; skip it and parse on from its eol.
        while (true) {
            ok = qi::phrase_parse(pos, end, grammar, skipper);
            if (pos == end) break;
            log << "Incomplete Parse\n";
            ++pos;
            while (pos != end && *pos != '\r' && *pos != '\n') ++pos;
            if (pos == end) break;
        }
    } catch (const std::exception&) {
        ok = false;
    }
    if (!ok) log << "Error Parsing the OBJ File\n";

    if (!InRange(raw.faces, raw.positions.size())) {
        log << "Position Range Check Failed\n";
        return false;
    }
    positions.insert(positions.end(), raw.positions.begin(), raw.positions.end());
    faces.insert(faces.end(), raw.faces.begin(), raw.faces.end());
    if (!InRange(raw.faceNormals, raw.normals.size())) {
        log << "Normal Range Check Failed\n";
        raw.normals.clear();
        raw.faceNormals.clear();
    }
    if (!InRange(raw.faceTex, raw.texCoords.size())) {
        log << "Texture Range Check Failed\n";
        raw.texCoords.clear();
        raw.faceTex.clear();
    }
    PerVertex(raw, raw.normals, raw.faceNormals, normals);
    PerVertex(raw, raw.texCoords, raw.faceTex, texCoords);
    return ok;
}

}  // namespace tv
