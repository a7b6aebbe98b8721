#include "params/Gradient.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

namespace tv {

namespace {

// A colour as 8-bit A, R, G, B in one word, as the toolkit keeps it.
struct Argb {
    uint32_t v = 0;
    uint32_t a() const { return v >> 24; }
    uint32_t r() const { return (v >> 16) & 0xff; }
    uint32_t g() const { return (v >> 8) & 0xff; }
    uint32_t b() const { return v & 0xff; }
    static Argb Of(uint32_t a, uint32_t r, uint32_t g, uint32_t b) {
        return Argb{(a << 24) | (r << 16) | (g << 8) | b};
    }
};

// Rounds to the nearest integer, halves to even, as the toolkit's rounding does. Values beyond
// int's range stop at its ends and NaN (a damaged record's stop or position) gives 0.
int RoundToInt(double x) {
    if (std::isnan(x)) return 0;
    const double r = std::nearbyint(x);
    if (r <= double(INT_MIN)) return INT_MIN;
    if (r >= double(INT_MAX)) return INT_MAX;
    return static_cast<int>(r);
}

// The toolkit scales by 255.996 so that values just under 1 still reach 255.
uint32_t FloatToByte(float f) {
    if (f <= 0.0f) return 0;
    if (f >= 1.0f) return 255;
    return uint32_t(std::clamp(RoundToInt(f * 255.996f), 0, 255));
}

Argb FromFloats(float r, float g, float b, float a) {
    return Argb::Of(FloatToByte(a), FloatToByte(r), FloatToByte(g), FloatToByte(b));
}

Argb Premultiplied(Argb c) {
    const uint32_t a = c.a();
    if (a >= 0xff) return c;
    if (a == 0) return Argb::Of(0, 0, 0, 0);
    return Argb::Of(a, (c.r() * a + 0x7f) >> 8, (c.g() * a + 0x7f) >> 8, (c.b() * a + 0x7f) >> 8);
}

Argb Unpremultiplied(Argb c) {
    const uint32_t a = c.a();
    if (a >= 0xff) return c;
    if (a == 0) return Argb::Of(0, 0, 0, 0);
    auto un = [a](uint32_t x) { return std::min<uint32_t>(0xff, (x * 0xff) / a); };
    return Argb::Of(a, un(c.r()), un(c.g()), un(c.b()));
}

// Two channels a lane, in 32-bit words, wrapping as unsigned arithmetic does.
Argb Tween(Argb d, Argb s, uint32_t amount) {
    uint32_t even = d.v & 0x00ff00ffu, odd = (d.v >> 8) & 0x00ff00ffu;
    const uint32_t se = s.v & 0x00ff00ffu, so = (s.v >> 8) & 0x00ff00ffu;
    even += ((se - even) * amount) >> 8;
    even &= 0x00ff00ffu;
    odd += ((so - odd) * amount) >> 8;
    odd &= 0x00ff00ffu;
    return Argb{(odd << 8) | even};
}

Argb Interpolated(Argb from, Argb to, float proportion) {
    if (proportion <= 0) return from;
    if (proportion >= 1.0f) return to;
    const Argb t =
        Tween(Premultiplied(from), Premultiplied(to), uint32_t(RoundToInt(proportion * 255.0f)));
    return Unpremultiplied(t);
}

struct Entry {
    double position;
    Argb colour;
};

// As the toolkit adds a colour: a position at or below 0 replaces the first entry (so a list's
// first stop can be overwritten by the end entry at 0); others are capped at 1 and go after any
// entry at the same position.
void AddEntry(std::vector<Entry>& entries, double position, Argb colour) {
    if (position <= 0) {
        if (entries.empty())
            entries.push_back(Entry{0.0, colour});
        else
            entries.front() = Entry{0.0, colour};
        return;
    }
    const double p = position < 1.0 ? position : 1.0;  // NaN ends at 1, as the toolkit's min does
    size_t i = 0;
    while (i < entries.size() && !(entries[i].position > p)) ++i;
    entries.insert(entries.begin() + std::ptrdiff_t(i), Entry{p, colour});
}

}  // namespace

std::array<float, 4> GradientColorAt(const std::vector<GradientStop>& stops, double t) {
    std::vector<Entry> entries;
    for (const GradientStop& s : stops)
        AddEntry(entries, s.position, FromFloats(s.red, s.green, s.blue, s.alpha));
    if (entries.empty()) return {0, 0, 0, 0};
    const Argb first = entries.front().colour, last = entries.back().colour;
    AddEntry(entries, 0.0, first);
    AddEntry(entries, 1.0, last);
    Argb out;
    if (t <= 0 || entries.size() <= 1) {
        out = entries.front().colour;
    } else {
        size_t i = entries.size() - 1;
        while (i > 0 && t < entries[i].position) --i;
        if (i >= entries.size() - 1) {
            out = entries[i].colour;
        } else {
            const Entry& p1 = entries[i];
            const Entry& p2 = entries[i + 1];
            out = Interpolated(p1.colour, p2.colour,
                               float((t - p1.position) / (p2.position - p1.position)));
        }
    }
    return {out.r() / 255.0f, out.g() / 255.0f, out.b() / 255.0f, out.a() / 255.0f};
}

std::vector<GradientStop> GetGradientStops(const uint8_t* bytes, uint64_t size) {
    std::vector<GradientStop> stops;
    if (!bytes || size < 4) return stops;
    uint32_t length = 0;
    std::memcpy(&length, bytes, 4);
    const uint64_t usable = std::min<uint64_t>(length, size - 4);
    stops.resize(size_t(usable / sizeof(GradientStop)));
    if (!stops.empty()) std::memcpy(stops.data(), bytes + 4, stops.size() * sizeof(GradientStop));
    return stops;
}

std::vector<uint8_t> MakeGradientRecord(const std::vector<GradientStop>& stops) {
    const uint32_t length = uint32_t(stops.size() * sizeof(GradientStop));
    std::vector<uint8_t> bytes(4 + length);
    std::memcpy(bytes.data(), &length, 4);
    if (length) std::memcpy(bytes.data() + 4, stops.data(), length);
    return bytes;
}

}  // namespace tv
