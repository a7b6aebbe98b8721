#include "sources/ObjLines.h"

#include <cstring>
#include <exception>

#include "sources/ObjNumbers.h"

namespace tv {

namespace {

inline bool IsBreak(char c) {
    return c == '\r' || c == '\n';
}

// Blanks, and comments: from a letter other than v, n, t, f (or from #) to the end of the line.
// Object, group, material and smoothing statements fall here, as does a word after the numbers;
// a word starting with v, n, t or f does not.
inline const char* Skip(const char* p, const char* end) {
    while (p != end) {
        const char c = *p;
        if (c == ' ' || c == '\t') {
            ++p;
            continue;
        }
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '#';
        if (!letter || c == 'v' || c == 'n' || c == 't' || c == 'f') break;
        while (p != end && !IsBreak(*p)) ++p;
    }
    return p;
}

// The cursor of one statement: every element skips blanks and comments before it, and a
// statement either matches whole or leaves nothing read.
struct Cursor {
    const char* p;
    const char* end;
    bool spansLines = false;

    bool Real(double& v) {
        const ObjNumberEnd e = ScanObjReal(Skip(p, end), end, v);
        if (!e.ok) return false;
        p = e.next;
        spansLines = spansLines || e.spansLines;
        return true;
    }
    // An optional real: 0 when there is none. A number that fails past its first character
    // (an exponent out of range) still moves the cursor past it.
    void OptionalReal(double& v) {
        const ObjNumberEnd e = ScanObjReal(Skip(p, end), end, v);
        p = e.next;
        spansLines = spansLines || e.spansLines;
        if (!e.ok) v = 0;
    }
    bool Int(int32_t& v) {
        const ObjNumberEnd e = ScanObjInt(Skip(p, end), end, v);
        if (!e.ok) return false;
        p = e.next;
        return true;
    }
    bool Char(char c) {
        const char* q = Skip(p, end);
        if (q == end || *q != c) return false;
        p = q + 1;
        return true;
    }
    bool DoubleSlash() {
        const char* q = Skip(p, end);
        if (end - q < 2 || q[0] != '/' || q[1] != '/') return false;
        p = q + 2;
        return true;
    }
};

// Zero-based index of a corner: one-based when positive, counting back from `count` lines
// when negative (then flagged when the count is only the stretch's own). 0 becomes -1 and
// fails the range check.
inline int32_t ZeroBased(int32_t x, size_t count, uint8_t& mask, uint8_t bit) {
    if (x < 0) {
        mask |= bit;
        return int32_t(uint32_t(int64_t(x) + int64_t(count)));
    }
    return x - 1;
}

void Push(ObjCorners& to, const int32_t (&c)[3], size_t count, bool flagRelative) {
    uint8_t mask = 0;
    to.index.push_back({ZeroBased(c[0], count, mask, 1), ZeroBased(c[1], count, mask, 2),
                        ZeroBased(c[2], count, mask, 4)});
    if (!flagRelative || (mask == 0 && to.shift.empty())) return;
    if (to.shift.empty()) to.shift.resize(to.index.size() - 1, 0);
    to.shift.push_back(mask);
}

// Three corners of one form: `corner` reads one into (position, second, third).
template <typename Corner>
bool Corners(Cursor& at, int32_t (&first)[3], int32_t (&second)[3], int32_t (&third)[3],
             Corner corner) {
    Cursor c = at;
    for (int k = 0; k < 3; ++k)
        if (!corner(c, first[k], second[k], third[k])) return false;
    at = c;
    return true;
}

// One statement at the cursor; true, with the cursor past it, when a form matches.
bool Statement(Cursor& at, ObjChunk& out, bool flagRelative) {
    const char* s = Skip(at.p, at.end);
    if (s == at.end) return false;
    const bool more = s + 1 != at.end;
    if (*s == 'v') {
        double a, b, c;
        if (more && s[1] == 'n') {
            Cursor cur{s + 2, at.end};
            if (cur.Real(a) && cur.Real(b) && cur.Real(c)) {
                out.normals.push_back({float(a), float(b), float(c)});
                at = cur;
                return true;
            }
        } else if (more && s[1] == 't') {
            Cursor cur{s + 2, at.end};
            if (cur.Real(a) && cur.Real(b)) {
                cur.OptionalReal(c);
                out.texCoords.push_back({float(a), float(b), float(c)});
                at = cur;
                return true;
            }
        }
        Cursor cur{s + 1, at.end};
        if (cur.Real(a) && cur.Real(b) && cur.Real(c)) {
            out.positions.push_back({a, b, c});
            at = cur;
            return true;
        }
        return false;
    }
    if (*s != 'f') return false;

    Cursor cur{s + 1, at.end};
    int32_t p[3], t[3], n[3];
    const size_t np = out.positions.size(), nt = out.texCoords.size(), nn = out.normals.size();
    // position/texture/normal
    if (Corners(cur, p, t, n, [](Cursor& c, int32_t& a, int32_t& b, int32_t& d) {
            return c.Int(a) && c.Char('/') && c.Int(b) && c.Char('/') && c.Int(d);
        })) {
        Push(out.faces, p, np, flagRelative);
        Push(out.faceTex, t, nt, flagRelative);
        Push(out.faceNormals, n, nn, flagRelative);
        at = cur;
        return true;
    }
    // position//normal
    if (Corners(cur, p, n, t, [](Cursor& c, int32_t& a, int32_t& b, int32_t&) {
            return c.Int(a) && c.DoubleSlash() && c.Int(b);
        })) {
        Push(out.faces, p, np, flagRelative);
        Push(out.faceNormals, n, nn, flagRelative);
        at = cur;
        return true;
    }
    // position/texture
    if (Corners(cur, p, t, n, [](Cursor& c, int32_t& a, int32_t& b, int32_t&) {
            return c.Int(a) && c.Char('/') && c.Int(b);
        })) {
        Push(out.faces, p, np, flagRelative);
        Push(out.faceTex, t, nt, flagRelative);
        at = cur;
        return true;
    }
    // position
    if (Corners(cur, p, t, n, [](Cursor& c, int32_t& a, int32_t&, int32_t&) { return c.Int(a); })) {
        Push(out.faces, p, np, flagRelative);
        at = cur;
        return true;
    }
    return false;
}

// Room for the lines of [begin, end) by the first letters of its "\n"-ended lines, so that the
// arrays are not copied as they grow.
void Reserve(const char* begin, const char* end, ObjChunk& out) {
    size_t v = 0, vn = 0, vt = 0, f = 0;
    for (const char* p = begin; p < end;) {
        if (end - p >= 2 && p[0] == 'v') {
            vn += p[1] == 'n';
            vt += p[1] == 't';
            v += p[1] == ' ';
        }
        f += p[0] == 'f';
        const void* eol = std::memchr(p, '\n', size_t(end - p));
        if (!eol) break;
        p = static_cast<const char*>(eol) + 1;
    }
    out.positions.reserve(v);
    out.normals.reserve(vn);
    out.texCoords.reserve(vt);
    out.faces.index.reserve(f);
    out.faceNormals.index.reserve(f);
    out.faceTex.index.reserve(f);
}

// Line breaks ("\r\n", "\r", "\n") in [from, to).
size_t Breaks(const char* from, const char* to) {
    size_t n = 0;
    for (const char* p = from; p < to; ++p)
        if (*p == '\n' || (*p == '\r' && (p + 1 == to || p[1] != '\n'))) ++n;
    return n;
}

}  // namespace

ObjChunk ReadObjLines(const char* begin, const char* stretchEnd, const char* textEnd,
                      bool flagRelative) {
    ObjChunk out;
    const char* p = begin;
    size_t line = 0;
    try {
        Reserve(begin, stretchEnd, out);
        while (p < stretchEnd) {
            Cursor at{p, textEnd};
            if (Statement(at, out, flagRelative) && at.spansLines) line += Breaks(p, at.p);
            const char* q = Skip(at.p, textEnd);
            if (q == textEnd) {
                p = q;
                break;
            }
            if (IsBreak(*q)) {
                p = q + (*q == '\r' && q + 1 != textEnd && q[1] == '\n' ? 2 : 1);
                ++line;
                continue;
            }
            // The line cannot be read on from here: report it and go on at its end.
            out.badLines.push_back({line, "Incomplete Parse"});
            ++q;
            while (q != textEnd && !IsBreak(*q)) ++q;
            p = q;
        }
    } catch (const std::exception&) {
        out.failed = true;
    }
    out.lines = line;
    out.stop = p;
    return out;
}

}  // namespace tv
