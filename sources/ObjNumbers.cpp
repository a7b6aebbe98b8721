#include "sources/ObjNumbers.h"

#include <array>
#include <charconv>
#include <string>

namespace tv::objnumbers {

namespace {

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

}  // namespace

// Below -307 the division is done in two steps, the first by 1e307.
bool ScaleAny(int64_t exp, double& n, uint64_t acc) {
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

}  // namespace tv::objnumbers
