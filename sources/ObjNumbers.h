// Numbers in OBJ text, read on the bytes. The arithmetic is the one the reader has always used,
// so every file gives the same doubles to the bit: up to 17 integer digits and the fraction's
// digits gathered into a 64-bit integer (digits past what it holds are dropped), then one
// multiplication or division by a power of ten.
#pragma once

#include <cstdint>
#include <limits>

namespace tv {

// Where a number's reading ended. On failure `next` is usually where it began, but a number
// whose exponent is out of range fails with `next` past its exponent.
struct ObjNumberEnd {
    const char* next = nullptr;
    bool ok = false;
    bool spansLines = false;  // "nan(...)" whose parentheses hold a line break
};

namespace objnumbers {

inline bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

inline const char* SkipDigits(const char* p, const char* end) {
    while (p != end && IsDigit(*p)) ++p;
    return p;
}

// Case-insensitive match of a lower-case word at p.
inline bool Word(const char*& p, const char* end, const char* lower) {
    const char* q = p;
    for (; *lower; ++lower, ++q)
        if (q == end || (*q != *lower && *q != *lower - ('a' - 'A'))) return false;
    p = q;
    return true;
}

// acc * 10^exp, any exp: false when out of range (above 308, or below -614).
bool ScaleAny(int64_t exp, double& n, uint64_t acc);

// acc * 10^exp in doubles, as one multiplication or division by the double nearest the power;
// false when exp is out of range. Powers up to 1e22 are exact and kept at hand.
inline bool Scale(int64_t exp, double& n, uint64_t acc) {
    static constexpr double kExact[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                        1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    if (exp >= 0 && exp <= 22) {
        n = double(acc) * kExact[exp];
        return true;
    }
    if (exp < 0 && exp >= -22) {
        n = double(acc) / kExact[-exp];
        return true;
    }
    return ScaleAny(exp, n, acc);
}

}  // namespace objnumbers

// A 32-bit integer at `p`: optional sign and digits; fails when it does not fit.
inline ObjNumberEnd ScanObjInt(const char* p, const char* end, int32_t& value) {
    using objnumbers::IsDigit;
    const char* const start = p;
    if (p == end) return {start, false};
    const bool negative = *p == '-';
    if (negative || *p == '+') ++p;
    const char* const digits = p;
    int64_t v = 0;
    for (; p != end && IsDigit(*p); ++p) {
        v = v * 10 + (*p - '0');
        if (v > int64_t(std::numeric_limits<int32_t>::max()) + (negative ? 1 : 0))
            return {start, false};
    }
    if (p == digits) return {start, false};
    value = int32_t(negative ? -v : v);
    return {p, true};
}

// A real number at `p` (no blanks skipped): optional sign, digits with an optional point (".5"
// and "5." too), optional exponent; "nan", "nan(...)", "inf" and "infinity" in any case.
// `end` is the end of the whole text.
inline ObjNumberEnd ScanObjReal(const char* p, const char* end, double& value) {
    using namespace objnumbers;
    const char* const start = p;
    if (p == end) return {start, false};
    const bool negative = *p == '-';
    if (negative || *p == '+') ++p;

    // Integer part: at most 17 digits, leading zeros included; the rest only scale.
    uint64_t acc = 0;
    int64_t excess = 0;
    bool gotNumber = false;
    {
        const char* it = p;
        int zeros = 0;
        while (it != end && *it == '0' && zeros < 17) ++it, ++zeros;
        int count = 0;
        for (; count + zeros < 17 && it != end && IsDigit(*it); ++it, ++count)
            acc = acc * 10 + uint64_t(*it - '0');
        gotNumber = count + zeros > 0;
        if (gotNumber) {
            p = it;
            const char* rest = SkipDigits(p, end);
            excess = rest - p;
            p = rest;
        }
    }

    double n = 0;
    if (!gotNumber) {
        // "nan", "nan(...)" (closed anywhere before the end of the text), "inf", "infinity".
        if (p != end && (*p == 'n' || *p == 'N') && Word(p, end, "nan")) {
            bool spansLines = false;
            bool closed = true;
            if (p != end && *p == '(') {
                const char* i = p;
                while (++i != end && *i != ')') spansLines = spansLines || *i == '\r' || *i == '\n';
                closed = i != end;
                if (closed) p = i + 1;
            }
            if (closed) {
                n = std::numeric_limits<double>::quiet_NaN();
                value = negative ? -n : n;
                return {p, true, spansLines};
            }
            // An unclosed "nan(" is no number; p stays after "nan", where no point follows.
        } else if (p != end && (*p == 'i' || *p == 'I') && Word(p, end, "inf")) {
            Word(p, end, "inity");
            n = std::numeric_limits<double>::infinity();
            value = negative ? -n : n;
            return {p, true};
        }
    }

    int64_t fracDigits = 0;
    if (p != end && *p == '.') {
        ++p;
        if (excess != 0) {
            p = SkipDigits(p, end);
        } else {
            // Fraction digits join the integer until it would overflow; the rest are dropped.
            const char* it = p;
            uint64_t v = acc;
            bool overflow = false;
            for (; it != end && IsDigit(*it); ++it) {
                const uint64_t digit = uint64_t(*it - '0');
                if (v > std::numeric_limits<uint64_t>::max() / 10 ||
                    v * 10 > std::numeric_limits<uint64_t>::max() - digit) {
                    overflow = true;
                    break;
                }
                v = v * 10 + digit;
            }
            if (overflow || it != p) {
                acc = v;
                fracDigits = it - p;
                p = SkipDigits(it, end);
            } else if (!gotNumber) {
                return {start, false};
            }
        }
    } else if (!gotNumber) {
        return {start, false};
    }

    const char* const ePos = p;
    if (p != end && (*p == 'e' || *p == 'E')) {
        int32_t exp = 0;
        const ObjNumberEnd e = ScanObjInt(p + 1, end, exp);
        if (e.ok) {
            p = e.next;
            if (!Scale(int64_t(exp) + excess - fracDigits, n, acc)) return {p, false};
        } else {
            p = ePos;
            Scale(-fracDigits, n, acc);
        }
    } else if (fracDigits != 0) {
        Scale(-fracDigits, n, acc);
    } else if (excess != 0) {
        if (!Scale(excess, n, acc)) return {p, false};
    } else {
        n = double(acc);
    }
    value = negative ? -n : n;
    return {p, true};
}

}  // namespace tv
