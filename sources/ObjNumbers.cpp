#include "sources/ObjNumbers.h"

#include <array>
#include <charconv>
#include <limits>
#include <string>

namespace tv {

namespace {

inline bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// 1e0 to 1e308, each the double nearest to the power.
const std::array<double, 309>& PowersOfTen() {
    static const std::array<double, 309> table = [] {
        std::array<double, 309> t{};
        for (size_t k = 0; k < t.size(); ++k) {
            const std::string text = "1e" + std::to_string(k);
            std::from_chars(text.data(), text.data() + text.size(), t[k]);
        }
        return t;
    }();
    return table;
}

// acc * 10^exp in doubles, as one multiplication or division; false when exp is out of range
// (above 308, or below -614). Below -307 the division is done in two steps.
bool Scale(int64_t exp, double& n, uint64_t acc) {
    const std::array<double, 309>& pow10 = PowersOfTen();
    constexpr int64_t maxExp = std::numeric_limits<double>::max_exponent10;  // 308
    constexpr int64_t minExp = std::numeric_limits<double>::min_exponent10;  // -307
    if (exp >= 0) {
        if (exp > maxExp) return false;
        n = double(acc) * pow10[size_t(exp)];
        return true;
    }
    if (exp < minExp) {
        n = double((acc / 10) * 10);
        n += double(acc % 10);
        n /= pow10[size_t(-minExp)];
        exp += -minExp;
        if (exp < minExp) return false;
        n /= pow10[size_t(-exp)];
        return true;
    }
    n = double(acc) / pow10[size_t(-exp)];
    return true;
}

// Case-insensitive match of a lower-case word at p.
bool Word(const char*& p, const char* end, const char* lower) {
    const char* q = p;
    for (; *lower; ++lower, ++q)
        if (q == end || (*q != *lower && *q != *lower - ('a' - 'A'))) return false;
    p = q;
    return true;
}

const char* SkipDigits(const char* p, const char* end) {
    while (p != end && IsDigit(*p)) ++p;
    return p;
}

}  // namespace

ObjNumberEnd ScanObjInt(const char* p, const char* end, int32_t& value) {
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

ObjNumberEnd ScanObjReal(const char* p, const char* end, double& value) {
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
