#include "cli/OutputOptions.h"

#include <cmath>
#include <cstdlib>
#include <numeric>
#include <stdexcept>

namespace tv::cli {

namespace {

bool IsHex(const std::string& s) {
    return s.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

// A whole number of at most 9 digits, or -1.
int64_t Whole(const std::string& s) {
    if (s.empty() || s.size() > 9 || s.find_first_not_of("0123456789") != std::string::npos)
        return -1;
    return std::stoll(s);
}

}  // namespace

void ApplyBackground(const std::string& text, standalone::Comp& comp) {
    if (text.empty()) return;
    if (text == "transparent") {
        comp.backgroundAlpha = 0;
        return;
    }
    if (text == "opaque") {
        comp.backgroundAlpha = 1;
        return;
    }
    if ((text.size() == 7 || text.size() == 9) && text[0] == '#' && IsHex(text.substr(1))) {
        for (int i = 0; i < 3; ++i)
            comp.background[i] = std::stoi(text.substr(size_t(1 + 2 * i), 2), nullptr, 16) / 255.0f;
        comp.backgroundAlpha =
            text.size() == 9 ? std::stoi(text.substr(7, 2), nullptr, 16) / 255.0f : 1.0f;
        return;
    }
    throw std::runtime_error("--background \"" + text +
                             "\": give transparent, opaque (the comp's colour), #rrggbb or "
                             "#rrggbbaa");
}

PF_RationalScale ParseScale(const std::string& text) {
    if (text.empty()) return PF_RationalScale{};
    const std::string bad = "--scale \"" + text +
                            "\": give 1/2, 1/3, 1/4 (any fraction N/M at most 1) or a number above "
                            "0 and at most 1";
    int64_t num = -1, den = -1;
    if (const auto slash = text.find('/'); slash != std::string::npos) {
        num = Whole(text.substr(0, slash));
        den = Whole(text.substr(slash + 1));
    } else {
        char* end = nullptr;
        const double v = std::strtod(text.c_str(), &end);
        if (end == text.c_str() || *end != '\0' || !std::isfinite(v)) throw std::runtime_error(bad);
        if (!(v > 0 && v <= 1)) throw std::runtime_error(bad);
        den = 10000;
        num = std::llround(v * double(den));
    }
    if (num < 1 || den < 1 || num > den) throw std::runtime_error(bad);
    const int64_t g = std::gcd(num, den);
    return PF_RationalScale{int32_t(num / g), uint32_t(den / g)};
}

}  // namespace tv::cli
