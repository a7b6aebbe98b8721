// The hand-written number reading against Boost.Spirit's double_ and int_, which the reader
// used before: same value to the bit, same end, same failures.
#include <gtest/gtest.h>

#include <boost/spirit/include/qi.hpp>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "sources/ObjNumbers.h"

namespace tv {
namespace {

namespace qi = boost::spirit::qi;

uint64_t Bits(double v) {
    uint64_t b;
    std::memcpy(&b, &v, sizeof b);
    return b;
}

// Our real and Spirit's on the same text: agreement on success, value bits and end.
void ExpectSameReal(const std::string& text) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    double ours = 0, theirs = 0;
    const ObjNumberEnd e = ScanObjReal(begin, end, ours);
    const char* at = begin;
    const bool ok = qi::parse(at, end, qi::double_, theirs);
    ASSERT_EQ(e.ok, ok) << '"' << text << '"';
    EXPECT_EQ(e.next - begin, at - begin) << '"' << text << '"';
    if (ok) {
        EXPECT_EQ(Bits(ours), Bits(theirs)) << '"' << text << '"' << ours << " " << theirs;
    }
}

void ExpectSameInt(const std::string& text) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    int32_t ours = 0;
    int theirs = 0;
    const ObjNumberEnd e = ScanObjInt(begin, end, ours);
    const char* at = begin;
    const bool ok = qi::parse(at, end, qi::int_, theirs);
    ASSERT_EQ(e.ok, ok) << '"' << text << '"';
    EXPECT_EQ(e.next - begin, at - begin) << '"' << text << '"';
    if (ok) {
        EXPECT_EQ(ours, theirs) << '"' << text << '"';
    }
}

TEST(ObjNumbers, PlainForms) {
    double v = 0;
    const std::string t = "-12.5e1x";
    const ObjNumberEnd e = ScanObjReal(t.data(), t.data() + t.size(), v);
    ASSERT_TRUE(e.ok);
    EXPECT_EQ(v, -125.0);
    EXPECT_EQ(*e.next, 'x');
}

TEST(ObjNumbers, HandPickedRealsMatchSpirit) {
    for (const char* t : {"0",
                          "-0",
                          "+0",
                          "1",
                          "-1",
                          "0.5",
                          ".5",
                          "-.5",
                          "5.",
                          "5.e3",
                          ".",
                          "-",
                          "+",
                          "",
                          "e5",
                          "1e",
                          "1e+",
                          "1e-",
                          "1E5",
                          "1e-5",
                          "1.5e+300",
                          "1e308",
                          "1e309",
                          "2e-307",
                          "1e-308",
                          "1e-320",
                          "1e-400",
                          "1e-614",
                          "1e-615",
                          "1e-700",
                          "1e99999999999",
                          "0.1",
                          "0.2",
                          "0.3",
                          "123456789.123456789",
                          "12345678901234567",
                          "123456789012345678",
                          "1234567890123456789012345",
                          "1234567890123456789012345.75",
                          "0.12345678901234567890123",
                          "00000000000000000001",
                          "000000000000000000000000000000001.5",
                          "0.000000000000000000000000000000001",
                          "9007199254740993",
                          "9007199254740993.0",
                          "18446744073709551615",
                          "18446744073709551616",
                          "1.8446744073709551616",
                          "4.9406564584124654e-324",
                          "2.2250738585072014e-308",
                          "1.7976931348623157e308",
                          "nan",
                          "NaN",
                          "-nan",
                          "nan(123)",
                          "nan(",
                          "nan(12",
                          "nanx",
                          "na",
                          "inf",
                          "-inf",
                          "Infinity",
                          "infinit",
                          "INFINITY",
                          "infx",
                          "i",
                          "1.5.5",
                          "1..5",
                          "--1",
                          "+-1",
                          "1e5.5",
                          "1e+-5",
                          "0x10",
                          "1,5",
                          "1 2",
                          "  1"})
        ExpectSameReal(t);
}

TEST(ObjNumbers, HandPickedIntsMatchSpirit) {
    for (const char* t : {"0",
                          "-0",
                          "+0",
                          "7",
                          "-7",
                          "007",
                          "-007",
                          "2147483647",
                          "2147483648",
                          "-2147483648",
                          "-2147483649",
                          "99999999999",
                          "00000000002147483647",
                          "0000000000002147483648",
                          "",
                          "-",
                          "+",
                          "x",
                          "1/2",
                          "1.5",
                          " 1",
                          "--1"})
        ExpectSameInt(t);
}

// Random digits, points, signs and exponents, and random characters of the number alphabet.
TEST(ObjNumbers, RandomRealsMatchSpirit) {
    std::mt19937_64 rng(2024);
    auto pick = [&rng](int n) { return int(rng() % uint64_t(n)); };
    auto digits = [&](int n) {
        std::string s;
        for (int i = 0; i < n; ++i) s += char('0' + pick(10));
        return s;
    };
    for (int i = 0; i < 200000; ++i) {
        std::string t;
        if (i % 4 == 3) {
            const char alphabet[] = "0123456789.eE+-naif()x ";
            const int n = 1 + pick(14);
            for (int k = 0; k < n; ++k) t += alphabet[pick(int(sizeof alphabet) - 1)];
        } else {
            if (pick(3) == 0) t += pick(2) ? "-" : "+";
            if (pick(4) == 0) t += std::string(size_t(pick(20)), '0');
            t += digits(pick(24));
            if (pick(3)) {
                t += '.';
                t += digits(pick(24));
            }
            if (pick(3) == 0) {
                t += pick(2) ? "e" : "E";
                if (pick(2)) t += pick(2) ? "-" : "+";
                t += std::to_string(pick(2) ? pick(30) : pick(700));
            }
        }
        ExpectSameReal(t);
        if (HasFailure()) return;
    }
}

TEST(ObjNumbers, ShortestTextsOfRandomDoublesMatchSpirit) {
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> u(-1000, 1000);
    for (int i = 0; i < 100000; ++i) {
        const double v = i % 2 ? u(rng) : u(rng) * std::pow(10.0, double(int(rng() % 40) - 20));
        char buf[64];
        for (const char* format : {"%.17g", "%.6f", "%g"}) {
            std::snprintf(buf, sizeof buf, format, v);
            ExpectSameReal(buf);
        }
        if (HasFailure()) return;
    }
}

TEST(ObjNumbers, RandomIntsMatchSpirit) {
    std::mt19937_64 rng(11);
    for (int i = 0; i < 50000; ++i) {
        std::string t;
        if (rng() % 3 == 0) t += rng() % 2 ? "-" : "+";
        const int n = int(rng() % 13);
        for (int k = 0; k < n; ++k) t += char('0' + rng() % 10);
        if (rng() % 4 == 0) t += "/7";
        ExpectSameInt(t);
        if (HasFailure()) return;
    }
}

}  // namespace
}  // namespace tv
